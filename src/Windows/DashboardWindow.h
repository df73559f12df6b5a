#pragma once

#include "ViewModels/PanelWindow.h"

namespace corvane {

// The program's ordinary window. Main thread.
class DashboardWindow {
public:
    virtual ~DashboardWindow() = default;

    // Shows it in front, with the keyboard.
    virtual void showWindow() = 0;
    virtual void orderOut() = 0;
    virtual bool isVisible() const = 0;
    virtual void setSharingType(SharingType type) = 0;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
};

} // namespace corvane
