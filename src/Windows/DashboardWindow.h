#pragma once

#include "ViewModels/FloatingPanelController.h"

#include <functional>

namespace corvane {

// The dashboard's window, the program's ordinary one. Main thread.
class DashboardWindow {
public:
    virtual ~DashboardWindow() = default;

    // Shows the window in front, with the keyboard.
    virtual void showWindow() = 0;
    virtual void orderOut() = 0;
    // Returns false for a minimized window.
    virtual bool isVisible() const = 0;
    // Calls `then` once the window has been painted after it was shown, or after half a second if it could
    // not be.
    virtual void whenPainted(std::function<void()> then) = 0;
    virtual void setSharingType(SharingType type) = 0;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
};

} // namespace corvane
