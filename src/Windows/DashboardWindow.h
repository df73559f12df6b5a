#pragma once

#include "ViewModels/PanelWindow.h"

#include <functional>

namespace corvane {

// The program's ordinary window. Main thread.
class DashboardWindow {
public:
    virtual ~DashboardWindow() = default;

    // Shows it in front, with the keyboard.
    virtual void showWindow() = 0;
    virtual void orderOut() = 0;
    // A minimized window is not.
    virtual bool isVisible() const = 0;
    // Calls back once the window has been drawn after it was shown, or could not be for half a second.
    virtual void whenPainted(std::function<void()> then) = 0;
    virtual void setSharingType(SharingType type) = 0;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
};

} // namespace corvane
