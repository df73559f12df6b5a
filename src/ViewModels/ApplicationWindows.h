#pragma once

#include "ViewModels/PanelWindow.h"

namespace corvane {

// What a model may ask of the program's windows; the composition root answers. Main thread.
class ApplicationWindows {
public:
    // Nothing before launch has made it.
    virtual PanelWindow* floatingPanel() const = 0;
    virtual void showDashboard() = 0;
    virtual void setContentProtected(bool isProtected) = 0;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    // Ends the program in good order.
    virtual void terminate() = 0;

protected:
    ~ApplicationWindows() = default;
};

} // namespace corvane
