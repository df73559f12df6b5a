#pragma once

#include "ViewModels/FloatingPanelController.h"

namespace corvane {

// A window that shows and hides itself. Main thread.
class AuxiliaryWindow {
public:
    virtual ~AuxiliaryWindow() = default;

    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
};

} // namespace corvane
