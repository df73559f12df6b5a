#pragma once

#include "App/AppDelegate.h"
#include "Platform/Desktop/SessionApplication.h"

#include <memory>

namespace corvane {

// The entry object: installs AppDelegate and connects it with the session bus and the end of the process.
class CorvaneApp {
public:
    CorvaneApp(PlatformServices platform, std::unique_ptr<platform::SessionApplication> sessionApplication);

    // Runs until the program quits; the process's exit status.
    int run();
    // The beginning of run(): true when this process is the program now, false when it should end, with
    // exitStatus().
    bool launch();
    int exitStatus() const { return m_exitStatus; }

    AppDelegate& appDelegate() { return m_appDelegate; }

private:
    std::unique_ptr<platform::SessionApplication> m_sessionApplication;
    AppDelegate m_appDelegate;
    int m_exitStatus = 0;
};

} // namespace corvane
