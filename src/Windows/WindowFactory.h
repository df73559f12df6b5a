#pragma once

#include "Services/SelectionOverlay.h"
#include "ViewModels/FloatingPanelController.h"
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

// Creates the program's windows, and has to outlive them. Tests use their own.
class WindowFactory {
public:
    virtual ~WindowFactory() = default;

    // The arguments have to outlive the window.
    virtual std::unique_ptr<FloatingPanelController> makeFloatingPanel(OverlayBarPresenter& presenter) = 0;
    virtual std::unique_ptr<DashboardWindow> makeDashboard(DashboardPresenter& presenter,
                                                           platform::DefaultsStore& defaults) = 0;
    // Returns a window that shows and hides itself as the presenter says, or null in a build without the
    // updater.
    virtual std::unique_ptr<AuxiliaryWindow> makeUpdateWindow(UpdateDialogPresenter&) { return {}; }
    // Returns a window over the screen with that index in QGuiApplication::screens(), or null when the screen
    // is gone.
    virtual std::unique_ptr<SelectionOverlay>
    makeSelectionOverlay(int screenIndex, const platform::ScreenPicture& picture) = 0;
};

// Returns a factory of real windows. It needs a QGuiApplication.
std::unique_ptr<WindowFactory> makeWindowFactory();

} // namespace corvane
