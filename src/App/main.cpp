#include "App/CorvaneApp.h"
#include "Platform/Desktop/TerminationSignals.h"
#include "Platform/Desktop/WaylandSession.h"
#include "Platform/Windows/CursorRest.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQuickWindow>
#include <QTimer>

#include <fontconfig/fontconfig.h>

#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace corvane;

using namespace std::chrono_literals;

namespace {

// The bar joins every workspace and stays where it is put, which X11 (XWayland on a Wayland desktop) lets a
// window do. Without any display the interviews still run, by links.
void choosePlatform() {
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        return;
    }
    const bool x11 = qEnvironmentVariableIsSet("DISPLAY");
    if (x11 || !platform::isWaylandSession()) {
        qputenv("QT_QPA_PLATFORM", x11 ? "xcb" : "offscreen");
    }
}

// The software scene graph starts faster, takes a third of the memory and a quarter of the processor time for
// windows as small as these, unless the user's own settings ask for another.
void chooseSceneGraph() {
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND") && !qEnvironmentVariableIsSet("QSG_RHI_BACKEND")) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }
}

// A dump of the memory would put the tokens on disk. Only the soft limit: who looks for a fault raises it by
// prlimit. Not PR_SET_DUMPABLE: portals and the sound server look into /proc at who calls them, and would
// refuse.
void keepMemoryOffDisk() {
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        limit.rlim_cur = 0;
        setrlimit(RLIMIT_CORE, &limit);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    // What the program writes is for its user alone.
    umask(S_IRWXG | S_IRWXO);
    keepMemoryOffDisk();
    choosePlatform();
    chooseSceneGraph();
    QCoreApplication::setApplicationName(QStringLiteral("Corvane Lumetra"));
    // First: the desktop's service answers while the display is opened.
    auto secrets = platform::makeSecretServiceStore();
    AppDelegate::readAhead(*secrets);
    // So is the catalogue of the fonts read, which Qt asks for at its first text.
    const std::jthread fonts([] { FcInit(); });
    QGuiApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.corvane.Lumetra"));
    // Not before the first window is seen: all its sizes are drawn for it. A desktop has it from the entry
    // too.
    QTimer::singleShot(1s, &application, [] {
        QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/symbols/com.corvane.Lumetra.svg")));
    });
    QGuiApplication::setQuitOnLastWindowClosed(false);
    platform::quitOnTerminationSignals();
    const platform::CursorRest cursorRest;
    CorvaneApp app(PlatformServices::ofThisDesktop(std::move(secrets)),
                   platform::makeSessionApplication(QStringLiteral("com.corvane.Lumetra")));
    return app.run();
}
