#pragma once

#include "ViewModels/DashboardViewModel.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "Windows/DashboardWindowController.h"
#include "Windows/FloatingPanel.h"
#include "tests/Desktop/DesktopMain.h"
#include "tests/Support/TestProgram.h"

namespace corvane {

inline QQuickWindow* updateWindow() {
    for (auto* window : QGuiApplication::topLevelWindows()) {
        if (window->title() == u"Software Update") {
            return qobject_cast<QQuickWindow*>(window);
        }
    }
    return nullptr;
}

// The program with its real windows, and with the real keyboard if it is given one.
struct WindowedProgram : TestProgram {
    explicit WindowedProgram(std::unique_ptr<platform::KeyMonitor> keyMonitor = {},
                             const platform::ApplicationInfo& info = defaultInfo())
        : TestProgram(Start::signedIn, info, makeWindowFactory(), std::move(keyMonitor)) {
        defaults->setBool("hasSeenOnboardingVideo", true);
    }
    static DashboardWindowController* dashboard() { return windowOf<DashboardWindowController>(); }
    FloatingPanel& panel() { return dynamic_cast<FloatingPanel&>(*app->floatingPanel()); }
    OverlayBarPresenter& presenter() { return app->overlayBarPresenter(); }

    void launchToPage(DashboardPage page) {
        launchToSession();
        app->dashboardViewModel().setSelectedPage(page);
        waitUntil([] { return dashboard() && dashboard()->isActive(); });
    }
    // The dashboard has shown, as it does at each launch, and is put away.
    void launchToBar() {
        launchToPage(DashboardPage::dashboard);
        app->toggleDashboard();
        waitUntil([] { return !QGuiApplication::focusWindow(); });
    }
};

} // namespace corvane
