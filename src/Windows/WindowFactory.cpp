#include "WindowFactory.h"

#include "DashboardWindowController.h"
#include "FloatingPanel.h"

namespace {

class DesktopWindowFactory : public WindowFactory {
public:
    std::unique_ptr<PanelWindow> makeFloatingPanel(OverlayBarPresenter& presenter) override {
        return std::make_unique<FloatingPanel>(presenter);
    }
    std::unique_ptr<DashboardWindow> makeDashboard(DashboardPresenter& presenter,
                                                   platform::DefaultsStore& defaults) override {
        return std::make_unique<DashboardWindowController>(presenter, defaults);
    }
};

} // namespace

std::unique_ptr<WindowFactory> makeWindowFactory() {
    return std::make_unique<DesktopWindowFactory>();
}
