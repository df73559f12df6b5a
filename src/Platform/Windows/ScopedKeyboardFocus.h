#pragma once

#include <QtGlobal>

class QWindow;

namespace platform {

// Takes the keyboard for a window that the window manager does not manage, and gives it back to its previous
// owner when destroyed. For X11; elsewhere the desktop does both. Main thread.
class ScopedKeyboardFocus {
public:
    // The window must be visible, and must outlive this object.
    explicit ScopedKeyboardFocus(QWindow& window);
    // Leaves the keyboard alone if it has moved elsewhere meanwhile. Destroy this before the window is
    // hidden.
    ~ScopedKeyboardFocus();
    ScopedKeyboardFocus(const ScopedKeyboardFocus&) = delete;
    ScopedKeyboardFocus& operator=(const ScopedKeyboardFocus&) = delete;

private:
    QWindow& m_window;
    quint32 m_previousFocus = 0;
};

} // namespace platform
