#include "WindowFactory.h"

#include "FloatingPanel.h"

namespace {

class DesktopWindowFactory : public WindowFactory {
public:
    std::unique_ptr<PanelWindow> makeFloatingPanel(OverlayBarPresenter& presenter) override {
        return std::make_unique<FloatingPanel>(presenter);
    }
};

} // namespace

std::unique_ptr<WindowFactory> makeWindowFactory() {
    return std::make_unique<DesktopWindowFactory>();
}
