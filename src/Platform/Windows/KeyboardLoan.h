#pragma once

#include <QtGlobal>

class QWindow;

namespace platform {

// The keyboard for a window that no window manager minds, and back to whom it was taken from at the end. For
// X11; elsewhere the desktop does both. Main thread.
class KeyboardLoan {
public:
    // The window is shown, and outlives this.
    explicit KeyboardLoan(QWindow& window);
    // The keyboard stays where it has gone on its own meanwhile. Before the window is hidden.
    ~KeyboardLoan();
    KeyboardLoan(const KeyboardLoan&) = delete;
    KeyboardLoan& operator=(const KeyboardLoan&) = delete;

private:
    QWindow& m_window;
    quint32 m_lender = 0;
};

} // namespace platform
