#include "Platform/Desktop/Appearance.h"
#include "sandbox/desktop/PrivateSession.h"
#include "tests/Support/WaitFor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QSignalSpy>

using platform::ColorScheme;

namespace {

constexpr auto portalService = "org.freedesktop.portal.Desktop";
constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto appearance = "org.freedesktop.appearance";

} // namespace

// The desktop's side.
class SettingsPortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    void change(const QString& space, const QString& key, uint value) {
        auto message =
            QDBusMessage::createSignal(portalPath, "org.freedesktop.portal.Settings", "SettingChanged");
        message << space << key << QVariant::fromValue(QDBusVariant(value));
        QDBusConnection("desktop").send(message);
    }

    uint scheme = 1; // dark

public Q_SLOTS:
    // Wrapped twice, as the old method of the interface has it.
    QDBusVariant Read(const QString& space, const QString& key, const QDBusMessage& call) {
        if (space != appearance || key != "color-scheme") {
            QDBusConnection("desktop").send(
                call.createErrorReply("org.freedesktop.portal.Error.NotFound", key));
        }
        return QDBusVariant(QVariant::fromValue(QDBusVariant(scheme)));
    }
};

class AppearanceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theDesktopsPreferenceIsFollowed() {
        PrivateSession session;
        QVERIFY(session.startBus());
        SettingsPortal portal;
        auto bus = QDBusConnection::connectToBus(session.busAddress(), "desktop");
        QVERIFY(bus.registerObject(portalPath, &portal, QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(portalService));
        const auto colours = platform::makeDesktopAppearance();
        QSignalSpy changes(colours.get(), &platform::Appearance::effectiveChanged);
        const auto becomes = [&](ColorScheme scheme) {
            return waitUntil([&] { return colours->effective() == scheme; });
        };
        QVERIFY(becomes(ColorScheme::dark));
        portal.change(appearance, "color-scheme", 2);
        QVERIFY(becomes(ColorScheme::light));
        portal.change(appearance, "contrast", 1);
        portal.change("org.gnome.desktop.interface", "color-scheme", 1);
        portal.change(appearance, "color-scheme", 1);
        QVERIFY(becomes(ColorScheme::dark));
        QCOMPARE(changes.size(), 3);
    }
};

QTEST_GUILESS_MAIN(AppearanceTest)
#include "AppearanceTest.moc"
