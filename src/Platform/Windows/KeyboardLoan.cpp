#include "KeyboardLoan.h"

#include "XcbWindow.h"

#include <QWindow>

namespace platform {

namespace {

xcb_window_t focused() {
    auto* x = x11::connection();
    const x11::Answer<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
    return reply ? reply->focus : xcb_window_t(XCB_WINDOW_NONE);
}

} // namespace

KeyboardLoan::KeyboardLoan(QWindow& window)
    : m_window(window)
    , m_lender(x11::connection() ? focused() : xcb_window_t(XCB_WINDOW_NONE)) {
    window.requestActivate();
}

KeyboardLoan::~KeyboardLoan() {
    if (m_lender == XCB_WINDOW_NONE || focused() != static_cast<xcb_window_t>(m_window.winId())) {
        return;
    }
    auto* x = x11::connection();
    // The lender may be gone: an answer that says so is no news.
    const x11::Answer<xcb_generic_error_t> error(xcb_request_check(
        x, xcb_set_input_focus_checked(x, XCB_INPUT_FOCUS_POINTER_ROOT, m_lender, XCB_CURRENT_TIME)));
}

} // namespace platform
