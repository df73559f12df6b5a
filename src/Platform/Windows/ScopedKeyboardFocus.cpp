#include "Platform/Windows/ScopedKeyboardFocus.h"

#include "Platform/Windows/XcbWindow.h"

#include <QWindow>

#include <map>

namespace platform {

namespace {

// Maps a window that has taken the keyboard to the window that had it before. One such window may take the
// keyboard from another.
std::map<xcb_window_t, xcb_window_t>& borrowedFocus() {
    static std::map<xcb_window_t, xcb_window_t> current;
    return current;
}

xcb_window_t focused() {
    auto* x = x11::connection();
    const x11::Answer<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
    return reply ? reply->focus : xcb_window_t(XCB_WINDOW_NONE);
}

} // namespace

ScopedKeyboardFocus::ScopedKeyboardFocus(QWindow& window)
    : m_window(window) {
    if (x11::connection()) {
        const auto owner = focused();
        const auto borrowed = borrowedFocus().find(owner);
        m_previousFocus = borrowed == borrowedFocus().end() ? owner : borrowed->second;
        borrowedFocus()[x11::idOf(window)] = m_previousFocus;
    }
    window.requestActivate();
}

ScopedKeyboardFocus::~ScopedKeyboardFocus() {
    if (borrowedFocus().erase(x11::idOf(m_window)) == 0 || focused() != x11::idOf(m_window)) {
        return;
    }
    auto* x = x11::connection();
    // The previous window may be gone, so an error is ignored.
    const x11::Answer<xcb_generic_error_t> error(xcb_request_check(
        x, xcb_set_input_focus_checked(x, XCB_INPUT_FOCUS_POINTER_ROOT, m_previousFocus, XCB_CURRENT_TIME)));
}

} // namespace platform
