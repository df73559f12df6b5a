#include "ViewModels/OverlayViewModel.h"

#include "ViewModels/ApplicationWindows.h"

namespace corvane {

OverlayViewModel::OverlayViewModel(WebSocketService& webSocket, SettingsViewModel& settings,
                                   ApplicationWindows& windows)
    : m_webSocket(webSocket)
    , m_settings(settings)
    , m_windows(windows) {}

void OverlayViewModel::applyHeight(double height) {
    if (m_panelHeight == height) {
        return;
    }
    m_panelHeight = height;
    if (auto* panel = m_windows.floatingPanel()) {
        auto frame = panel->frame();
        frame.setHeight(qRound(height));
        panel->setFrame(frame);
    }
}

} // namespace corvane
