#pragma once

#include "PanelWindow.h"

#include <memory>

class OverlayBarPresenter;

// Makes the program's windows; a test makes its own.
class WindowFactory {
public:
    virtual ~WindowFactory() = default;

    // `presenter` outlives the window.
    virtual std::unique_ptr<PanelWindow> makeFloatingPanel(OverlayBarPresenter& presenter) = 0;
};

// Real windows of this desktop. Needs a QGuiApplication.
std::unique_ptr<WindowFactory> makeWindowFactory();
