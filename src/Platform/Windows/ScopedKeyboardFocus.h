#pragma once

#include <QtGlobal>

class QWindow;

namespace platform {

// The keyboard for a window that no window manager minds, and back to whom it was taken from at the end. For
// X11; elsewhere the desktop does both. Main thread.
class ScopedKeyboardFocus {
public:
    // The window is shown, and outlives this.
    explicit ScopedKeyboardFocus(QWindow& window);
    // The keyboard stays where it has gone on its own meanwhile. Before the window is hidden.
    ~ScopedKeyboardFocus();
    ScopedKeyboardFocus(const ScopedKeyboardFocus&) = delete;
    ScopedKeyboardFocus& operator=(const ScopedKeyboardFocus&) = delete;

private:
    QWindow& m_window;
    quint32 m_previousFocus = 0;
};

} // namespace platform
