#include "Platform/Desktop/Appearance.h"
#include "sandbox/desktop/PrivateSession.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

using namespace platform;

// The desktop's settings portal, with one setting.
class SettingsPortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    uint scheme = 0;
    int reads = 0;

public Q_SLOTS:
    Q_SCRIPTABLE QDBusVariant Read(const QString& space, const QString& key) {
        ++reads;
        const bool isKnown = space == "org.freedesktop.appearance" && key == "color-scheme";
        return QDBusVariant(QVariant::fromValue(QDBusVariant(isKnown ? scheme : 0u)));
    }

Q_SIGNALS:
    Q_SCRIPTABLE void SettingChanged(const QString& space, const QString& key, const QDBusVariant& value);
};

class AppearanceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_session.startBus()); }

    void thePortalsSchemeIsFollowed_data() {
        const auto row = rows<uint, ColorScheme>();
        row("no preference", 0, ColorScheme::light);
        row("dark", 1, ColorScheme::dark);
        row("light", 2, ColorScheme::light);
    }
    void thePortalsSchemeIsFollowed() {
        const auto [value, scheme] = currentRow<uint, ColorScheme>();
        auto bus = QDBusConnection::connectToBus(m_session.busAddress(), "portal");
        SettingsPortal portal;
        portal.scheme = value;
        QVERIFY(bus.registerObject("/org/freedesktop/portal/desktop", &portal,
                                   QDBusConnection::ExportScriptableContents));
        QVERIFY(bus.registerService("org.freedesktop.portal.Desktop"));
        const auto appearance = makeDesktopAppearance();
        QVERIFY(waitUntil([&] { return portal.reads == 1; }));
        QVERIFY(waitUntil([&] { return appearance->effective() == scheme; }));
        const auto other = scheme == ColorScheme::dark ? 2u : 1u;
        Q_EMIT portal.SettingChanged("org.gnome.desktop.interface", "color-scheme", QDBusVariant(other));
        Q_EMIT portal.SettingChanged("org.freedesktop.appearance", "contrast", QDBusVariant(other));
        Q_EMIT portal.SettingChanged("org.freedesktop.appearance", "color-scheme", QDBusVariant(other));
        QVERIFY(waitUntil([&] { return appearance->effective() != scheme; }));
        bus.unregisterObject("/org/freedesktop/portal/desktop");
        QDBusConnection::disconnectFromBus("portal");
    }

private:
    PrivateSession m_session;
};

QTEST_GUILESS_MAIN(AppearanceTest)
#include "AppearanceTest.moc"
