#pragma once

#include "ViewModels/FloatingPanelController.h"

namespace corvane {

// What models may do with the program's windows; the composition root implements it. Main thread.
class ApplicationWindows {
public:
    // Returns null until the launch has created the panel.
    virtual FloatingPanelController* floatingPanel() const = 0;
    virtual void showDashboard() = 0;
    virtual void setContentProtected(bool isProtected) = 0;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    // Ends the program in an orderly way.
    virtual void terminate() = 0;

protected:
    ~ApplicationWindows() = default;
};

} // namespace corvane
