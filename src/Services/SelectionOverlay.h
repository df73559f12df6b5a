#pragma once

#include <QRectF>

#include <functional>

namespace corvane {

// A dimmed window over one screen, in which the user drags out a rectangle. Main thread.
class SelectionOverlay {
public:
    virtual ~SelectionOverlay() = default;

    // A finished rectangle, in points from the screen's top left corner, and the screen's place among the
    // screens. May be called again.
    std::function<void(const QRectF&, int)> onSelectionComplete;
    std::function<void()> onCancel;

    // Shows it above everything and leaves the keyboard where it is.
    virtual void orderFrontRegardless() = 0;
    virtual void orderOut() = 0;
};

} // namespace corvane
