#include "App/CorvaneApp.h"

#include "Platform/Core/Log.h"
#include "Platform/Desktop/ProcessLimits.h"

#include <QCoreApplication>

namespace corvane {

CorvaneApp::CorvaneApp(PlatformServices platform,
                       std::unique_ptr<platform::SessionApplication> sessionApplication)
    : m_sessionApplication(std::move(sessionApplication))
    , m_appDelegate(std::move(platform)) {
    QObject::connect(m_sessionApplication.get(), &platform::SessionApplication::openRequested, &m_appDelegate,
                     &AppDelegate::open);
    QObject::connect(m_sessionApplication.get(), &platform::SessionApplication::activated, &m_appDelegate,
                     &AppDelegate::applicationShouldHandleReopen);
}

bool CorvaneApp::launch() {
    using Start = platform::SessionApplication::Start;
    const auto start = m_sessionApplication->start();
    if (start == Start::handedOver) {
        platform::logLine(
            QStringLiteral("[App] Corvane Lumetra is already running and has been brought forward"));
        return false;
    }
    if (start == Start::hung) {
        m_appDelegate.reportHungInstance();
        m_exitStatus = 1;
        return false;
    }
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &m_appDelegate,
                     &AppDelegate::applicationWillTerminate);
    try {
        m_appDelegate.applicationDidFinishLaunching();
    } catch (const LaunchError& error) {
        platform::logLine(QString::fromUtf8(error.what()));
        m_exitStatus = 1;
        return false;
    }
    return true;
}

int CorvaneApp::run() {
    if (!launch()) {
        return m_exitStatus;
    }
    const int status = QCoreApplication::exec();
    if (m_appDelegate.wantsRestart()) {
        // The bus name is released first. Otherwise the new process would hand over to this one and end.
        m_sessionApplication.reset();
        if (!platform::startUserProgram(QCoreApplication::applicationFilePath(), {})) {
            platform::logLine(
                QStringLiteral("[App] The new version could not be started. Start Corvane Lumetra by hand."));
        }
    }
    return status;
}

} // namespace corvane
