#include "App/PlatformServices.h"

#include "App/ApplicationId.h"
#include "Platform/Core/SystemClock.h"

#include <QCoreApplication>
#include <QStandardPaths>

namespace corvane {

namespace {

const auto applicationName = QStringLiteral("Corvane Lumetra");

} // namespace

PlatformServices PlatformServices::ofThisDesktop(std::unique_ptr<platform::SecretStore> secrets) {
    const auto configuration = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    PlatformServices services;
    services.applicationInfo = platform::ApplicationInfo::load(
        QStringLiteral("application-info.json"), QStringLiteral("corvane-lumetra"),
        "CORVANE_APPLICATION_INFO", {QStringLiteral("SUFeedURL"), QStringLiteral("SUPublicEDKey")});
    services.environment = QProcessEnvironment::systemEnvironment();
    services.dataFolder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    services.cacheFolder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    services.clock = std::make_unique<platform::SystemClock>();
    services.defaults = platform::makeFileDefaultsStore(
        configuration + QStringLiteral("/com.corvane.interview-assistant/settings.ini"));
    services.secrets = std::move(secrets);
    services.identityHttp = platform::makeHttpClient(platform::HttpSessionKind::ephemeral);
    services.backendHttp = platform::makeHttpClient(platform::HttpSessionKind::shared);
    services.makeUpdateHttp = [] { return platform::makeHttpClient(platform::HttpSessionKind::ephemeral); };
    services.webSockets = platform::makeWebSocketFactory();
    services.connectivity = platform::makeConnectivityMonitor();
    services.audio = platform::makePulseAudioHost(
        {}, {.name = applicationName, .id = QLatin1String(applicationId), .iconName = {}});
    services.appearance = platform::makeDesktopAppearance();
    services.loginItem = platform::makeAutostartEntry(configuration + QStringLiteral("/autostart"),
                                                      QLatin1String(applicationId), applicationName,
                                                      QCoreApplication::applicationFilePath());
    services.keys = platform::makeDesktopKeyMonitor();
    services.screens = platform::makeScreenGrabber();
    services.clipboard = platform::makeDesktopClipboard();
    services.notifications =
        platform::makeDesktopNotifications(applicationName, QLatin1String(applicationId));
    services.systemAccess = platform::makeSystemAccess(services.notifications.get());
    services.windows = makeWindowFactory();
    return services;
}

} // namespace corvane
