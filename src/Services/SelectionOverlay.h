#pragma once

#include <QRectF>

#include <functional>

namespace corvane {

// A dimmed window over one screen, in which the user drags out a rectangle. Main thread.
class SelectionOverlay {
public:
    virtual ~SelectionOverlay() = default;

    // Receives a finished rectangle, in points from the top left corner of the screen, and the index of the
    // screen. It may be called more than once.
    std::function<void(const QRectF&, int)> onSelectionComplete;
    std::function<void()> onCancel;

    // Shows the window above everything else without taking the keyboard.
    virtual void orderFrontRegardless() = 0;
    virtual void orderOut() = 0;
};

} // namespace corvane
