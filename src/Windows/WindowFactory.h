#pragma once

#include "Services/SelectionOverlay.h"
#include "ViewModels/PanelWindow.h"
#include "Windows/AuxiliaryWindow.h"
#include "Windows/DashboardWindow.h"

#include <memory>

namespace platform {
class DefaultsStore;
struct ScreenPicture;
} // namespace platform

namespace corvane {

class DashboardPresenter;
class OverlayBarPresenter;
class UpdateDialogPresenter;

// Makes the program's windows, and outlives them; a test makes its own.
class WindowFactory {
public:
    virtual ~WindowFactory() = default;

    // What is handed in outlives the window.
    virtual std::unique_ptr<PanelWindow> makeFloatingPanel(OverlayBarPresenter& presenter) = 0;
    virtual std::unique_ptr<DashboardWindow> makeDashboard(DashboardPresenter& presenter,
                                                           platform::DefaultsStore& defaults) = 0;
    // Shows and hides itself as the presenter says. Null in a build without the updater.
    virtual std::unique_ptr<AuxiliaryWindow> makeUpdateWindow(UpdateDialogPresenter&) { return {}; }
    // Over the screen with that place in QGuiApplication::screens(); null when it is gone.
    virtual std::unique_ptr<SelectionOverlay>
    makeSelectionOverlay(int screenIndex, const platform::ScreenPicture& picture) = 0;
};

// Real windows of this desktop. Needs a QGuiApplication.
std::unique_ptr<WindowFactory> makeWindowFactory();

} // namespace corvane
