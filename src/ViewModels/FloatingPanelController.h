#pragma once

#include <QRect>

#include <functional>

namespace corvane {

enum class WindowLevel { normal = 0, floating = 3 };
// Whether screen sharing and recording may show a window.
enum class SharingType { none = 0, readOnly = 1 };
// Whether the program appears in the taskbar and the pager.
enum class ActivationPolicy { regular = 0, accessory = 1 };

// The control of the floating panel, the bar's window, that models and the composition root have. Main
// thread.
class FloatingPanelController {
public:
    virtual ~FloatingPanelController() = default;

    // Shows the window above other windows without taking the keyboard.
    virtual void orderFrontRegardless() = 0;
    virtual void orderOut() = 0;
    virtual bool isVisible() const = 0;
    // Returns the frame in device-independent pixels, with y at its top edge.
    virtual QRect frame() const = 0;
    // Sets the frame at once, without an animation and without keeping it on a screen.
    virtual void setFrame(const QRect& frame) = 0;
    virtual void setLevel(WindowLevel level) = 0;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    virtual void setSharingType(SharingType type) = 0;
    // Calls `then` once the window has been painted after it was shown, or after half a second if it could
    // not be.
    virtual void whenPainted(std::function<void()> then) = 0;
};

} // namespace corvane
