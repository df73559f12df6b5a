#pragma once

#include <functional>

class QQuickWindow;

namespace corvane {

// Calls back once the window has been drawn, or could not be for half a second; not when it goes before.
void whenNextPainted(QQuickWindow& window, std::function<void()> then);

} // namespace corvane
