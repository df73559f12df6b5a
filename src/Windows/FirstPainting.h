#pragma once

#include <functional>

class QQuickWindow;

namespace corvane {

// Calls `then` once the window has been painted, or after half a second if it could not be. Does not call it
// when the window is destroyed first.
void whenNextPainted(QQuickWindow& window, std::function<void()> then);

} // namespace corvane
