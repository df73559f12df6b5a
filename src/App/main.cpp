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

// The bar joins every workspace and stays where it is put, which X11 (XWayland on a Wayland desktop) lets a
// window do. Without any display the interviews still run, by links. The first that works of the list is
// taken. As arguments, not in the environment: that is handed on to the browser and whatever else is started.
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

// A desktop that has not what the windows need is said once, and what to do about it.
void tellOfPlatform() {
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

// The software scene graph starts faster, takes a third of the memory and a quarter of the processor time for
// windows as small as these, unless the user's own settings ask for another.
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
    // First: the desktop's service answers while the display is opened.
    auto secrets = platform::makeSecretServiceStore();
    AppDelegate::readAhead(*secrets);
    // So is the catalogue of the fonts read, which Qt asks for at its first text.
    const std::jthread fonts([] { FcInit(); });
    QGuiApplication application(count, arguments.data());
    tellOfPlatform();
    QGuiApplication::setDesktopFileName(QLatin1String(applicationId));
    // Not before the first window is seen: all its sizes are drawn for it. A desktop has it from the entry
    // too.
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
