#pragma once

#include "App/AppDelegate.h"
#include "Platform/Desktop/SessionApplication.h"

#include <memory>

namespace corvane {

// The program's entry object: owns AppDelegate and connects it to the session bus and to the end of the
// process.
class CorvaneApp {
public:
    CorvaneApp(PlatformServices platform, std::unique_ptr<platform::SessionApplication> sessionApplication);

    // Runs until the program quits. Returns the exit status of the process.
    int run();
    // The first part of run(). Returns true when this process goes on as the running program, and false when
    // it has to end with exitStatus().
    bool launch();
    int exitStatus() const { return m_exitStatus; }

    AppDelegate& appDelegate() { return m_appDelegate; }

private:
    std::unique_ptr<platform::SessionApplication> m_sessionApplication;
    AppDelegate m_appDelegate;
    int m_exitStatus = 0;
};

} // namespace corvane
