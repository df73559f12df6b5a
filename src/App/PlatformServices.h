#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Platform/Core/Clock.h"
#include "Platform/Desktop/Appearance.h"
#include "Platform/Desktop/ApplicationInfo.h"
#include "Platform/Desktop/LoginItem.h"
#include "Platform/Desktop/Notifications.h"
#include "Platform/Desktop/SystemAccess.h"
#include "Platform/Input/KeyMonitor.h"
#include "Platform/Network/ConnectivityMonitor.h"
#include "Platform/Network/HttpClient.h"
#include "Platform/Network/WebSocketTask.h"
#include "Platform/Screen/Clipboard.h"
#include "Platform/Screen/ScreenGrabber.h"
#include "Platform/Storage/DefaultsStore.h"
#include "Platform/Storage/SecretStore.h"
#include "Windows/WindowFactory.h"

#include <QProcessEnvironment>
#include <QString>

#include <functional>
#include <memory>

namespace corvane {

// Everything that the program needs from the desktop it runs on. Only the composition root uses the whole
// struct. Tests and the guided tour pass in their own.
struct PlatformServices {
    platform::ApplicationInfo applicationInfo;
    QProcessEnvironment environment;
    QString dataFolder;  // the user's data folder; the program makes its own folder in it
    QString cacheFolder; // the same for data that can be fetched again
    std::unique_ptr<platform::Clock> clock;
    std::unique_ptr<platform::DefaultsStore> defaults;
    std::unique_ptr<platform::SecretStore> secrets;
    std::unique_ptr<platform::HttpClient> identityHttp; // keeps no cookies
    std::unique_ptr<platform::HttpClient> backendHttp;
    std::function<std::unique_ptr<platform::HttpClient>()> makeUpdateHttp; // keeps no cookies
    std::unique_ptr<platform::WebSocketFactory> webSockets;
    std::unique_ptr<platform::ConnectivityMonitor> connectivity;
    std::unique_ptr<platform::AudioHost> audio;
    std::unique_ptr<platform::SystemAccess> systemAccess;
    std::unique_ptr<platform::Appearance> appearance;
    std::unique_ptr<platform::LoginItem> loginItem;
    // The default monitor reports no keys.
    std::unique_ptr<platform::KeyMonitor> keys = std::make_unique<platform::KeyMonitor>();
    std::unique_ptr<platform::ScreenGrabber> screens;
    std::unique_ptr<platform::Clipboard> clipboard;
    std::unique_ptr<platform::Notifications> notifications;
    std::unique_ptr<WindowFactory> windows;

    // Returns the services of the real desktop, with the user's own folders. Takes the secret store as an
    // argument because it may have been opened earlier.
    static PlatformServices
    ofThisDesktop(std::unique_ptr<platform::SecretStore> secrets = platform::makeSecretServiceStore());
};

} // namespace corvane
