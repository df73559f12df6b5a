#include "Platform/Desktop/Appearance.h"

#include "Platform/Desktop/PortalRequest.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

namespace platform {

namespace {

const auto settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const auto appearanceNamespace = QStringLiteral("org.freedesktop.appearance");
const auto colorSchemeKey = QStringLiteral("color-scheme");
constexpr uint preferDark = 1; // 0: no preference, 2: light

class PortalAppearance : public Appearance {
    Q_OBJECT

public:
    PortalAppearance() {
        auto bus = QDBusConnection::sessionBus();
        if (!bus.isConnected()) {
            return;
        }
        bus.connect(portal::service, portal::path, settingsInterface, QStringLiteral("SettingChanged"), this,
                    SLOT(settingChanged(QString, QString, QDBusVariant)));
        auto question = QDBusMessage::createMethodCall(portal::service, portal::path, settingsInterface,
                                                       QStringLiteral("Read"));
        question << appearanceNamespace << colorSchemeKey;
        auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            const QDBusPendingReply<QDBusVariant> reply = *watcher;
            if (!reply.isError()) {
                take(reply.value().variant());
            }
            watcher->deleteLater();
        });
    }

private Q_SLOTS:
    void settingChanged(const QString& space, const QString& key, const QDBusVariant& value) {
        if (space == appearanceNamespace && key == colorSchemeKey) {
            take(value.variant());
        }
    }

private:
    void take(QVariant value) {
        // Read wraps the value twice, the signal once.
        if (value.canConvert<QDBusVariant>()) {
            value = value.value<QDBusVariant>().variant();
        }
        setDesktopScheme(value.toUInt() == preferDark ? ColorScheme::dark : ColorScheme::light);
    }
};

} // namespace

void Appearance::change(auto&& assign) {
    const auto before = effective();
    assign();
    if (effective() != before) {
        Q_EMIT effectiveChanged();
    }
}

void Appearance::pick(std::optional<ColorScheme> scheme) {
    change([&] { m_picked = scheme; });
}

void Appearance::setDesktopScheme(ColorScheme scheme) {
    change([&] { m_desktop = scheme; });
}

std::unique_ptr<Appearance> makeDesktopAppearance() {
    return std::make_unique<PortalAppearance>();
}

} // namespace platform

#include "Appearance.moc"
