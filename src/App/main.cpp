#include "App/ApplicationId.h"
#include "App/CorvaneApp.h"
#include "Platform/Core/Log.h"
#include "Platform/Desktop/ProcessLimits.h"
#include "Platform/Desktop/TerminationSignals.h"
#include "Platform/Desktop/WaylandSession.h"
#include "Platform/Windows/CursorBlinkTimeout.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQuickWindow>
#include <QTimer>

#include <fontconfig/fontconfig.h>

#include <thread>
#include <vector>

using namespace corvane;

using namespace std::chrono_literals;

namespace {

// Returns the arguments with a choice of platform plugins, of which Qt takes the first that works. The bar
// shows on every workspace and stays where it is put, which X11 (XWayland on a Wayland desktop) allows.
// Without any display, interviews can still be started by links. The choice is an argument and not an
// environment variable, because the browser and other programs that are started inherit the environment.
std::vector<char*> argumentsWithPlatform(int argc, char* argv[]) {
    std::vector<char*> arguments(argv, argv + argc);
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        static auto option = QByteArrayLiteral("-platform");
        static QByteArray platforms;
        platforms = QByteArray(qEnvironmentVariableIsSet("DISPLAY") ? "xcb;" : "") +
                    (platform::isWaylandSession() ? "wayland;" : "") + "offscreen";
        arguments.insert(arguments.end(), {option.data(), platforms.data()});
    }
    arguments.push_back(nullptr);
    return arguments;
}

// Logs, once, what this desktop lacks for the windows and what to do about it.
void logMissingPlatform() {
    const auto name = QGuiApplication::platformName();
    if (name.startsWith(QLatin1String("wayland"))) {
        platform::logLine(
            QStringLiteral("[App] This Wayland session runs no programs of X11: the bar cannot keep "
                           "its place, stay above other windows or show on every workspace. "
                           "Install xwayland and start the session again."));
    } else if (name == QLatin1String("offscreen") &&
               (qEnvironmentVariableIsSet("DISPLAY") || platform::isWaylandSession())) {
        platform::logLine(QStringLiteral("[App] No window can be shown on this display, interviews start by "
                                         "links only. Install xwayland or qt6-wayland and start the session "
                                         "again."));
    }
}

// The software scene graph starts faster than the others and, for windows as small as these, takes a third of
// the memory and a quarter of the processor time. The user's own settings take precedence.
void chooseSceneGraph() {
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND") && !qEnvironmentVariableIsSet("QSG_RHI_BACKEND")) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    platform::restrictProcess();
    auto arguments = argumentsWithPlatform(argc, argv);
    auto count = static_cast<int>(arguments.size()) - 1;
    chooseSceneGraph();
    QCoreApplication::setApplicationName(QStringLiteral("Corvane Lumetra"));
    // This comes first, so that the secret service answers while the display is being opened.
    auto secrets = platform::makeSecretServiceStore();
    AppDelegate::readAhead(*secrets);
    // The font catalogue, which Qt needs for its first text, is read at the same time.
    const std::jthread fonts([] { FcInit(); });
    QGuiApplication application(count, arguments.data());
    logMissingPlatform();
    QGuiApplication::setDesktopFileName(QLatin1String(applicationId));
    // The icon is set after the first window is visible, because it is rendered in all its sizes. Desktops
    // also take it from the desktop entry.
    QTimer::singleShot(1s, &application, [] {
        QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/symbols/com.corvane.Lumetra.svg")));
    });
    QGuiApplication::setQuitOnLastWindowClosed(false);
    platform::quitOnTerminationSignals();
    const platform::CursorBlinkTimeout cursorBlinkTimeout;
    CorvaneApp app(PlatformServices::ofThisDesktop(std::move(secrets)),
                   platform::makeSessionApplication(QLatin1String(applicationId)));
    return app.run();
}
