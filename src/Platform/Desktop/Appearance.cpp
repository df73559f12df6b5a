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
        portal::introduce(bus);
        // Takes the raw message, because the bus may not know the types of its arguments yet.
        portal::listen(bus, portal::path, settingsInterface, QStringLiteral("SettingChanged"), this,
                       SLOT(settingChanged(QDBusMessage)));
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
    void settingChanged(const QDBusMessage& message) {
        const auto about = message.arguments();
        if (about.value(0) == appearanceNamespace && about.value(1) == colorSchemeKey) {
            take(about.value(2));
        }
    }

private:
    void take(QVariant value) {
        // Read wraps the value twice, the signal once.
        while (value.canConvert<QDBusVariant>()) {
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
