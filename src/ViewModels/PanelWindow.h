#pragma once

#include <QRect>

#include <functional>

namespace corvane {

enum class WindowLevel { normal = 0, floating = 3 };
// Whether screen sharing and recording may show a window.
enum class SharingType { none = 0, readOnly = 1 };
// Whether the program stands in the taskbar and the pager.
enum class ActivationPolicy { regular = 0, accessory = 1 };

// The bar's window, as far as the models act on it. Main thread.
class PanelWindow {
public:
    virtual ~PanelWindow() = default;

    // Shows the window above its neighbours and leaves the keyboard where it is.
    virtual void orderFrontRegardless() = 0;
    virtual void orderOut() = 0;
    virtual bool isVisible() const = 0;
    // Device-independent pixels, the top edge at y.
    virtual QRect frame() const = 0;
    // At once, unanimated, not clamped to any screen.
    virtual void setFrame(const QRect& frame) = 0;
    virtual void setLevel(WindowLevel level) = 0;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    virtual void setSharingType(SharingType type) = 0;
    // Calls back once the window has been drawn after it was shown, or could not be for half a second.
    virtual void whenPainted(std::function<void()> then) = 0;
};

} // namespace corvane
