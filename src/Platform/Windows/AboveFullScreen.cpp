#include "Platform/Windows/AboveFullScreen.h"

#include "Platform/Core/Log.h"
#include "Platform/Windows/QuietWindow.h"
#include "Platform/Windows/XcbWindow.h"

#include <QGuiApplication>
#include <QRect>
#include <QTimer>
#include <QWindow>

#include <algorithm>

namespace platform {

namespace {

constexpr int restackTimeout = 1000; // ms that the window manager has to restack

bool isFullScreen(xcb_window_t window) {
    return x11::holds(window, "_NET_WM_STATE", x11::atom("_NET_WM_STATE_FULLSCREEN")) &&
           !x11::holds(window, "_NET_WM_STATE", x11::atom("_NET_WM_STATE_HIDDEN"));
}

// Returns the geometry of a window in pixels of the root window.
QRect placeOf(xcb_window_t window) {
    auto* x = x11::connection();
    const x11::Answer<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(x, xcb_get_geometry(x, window), nullptr));
    if (!size) {
        return {};
    }
    const x11::Answer<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(x, xcb_translate_coordinates(x, window, size->root, 0, 0), nullptr));
    return place ? QRect(place->dst_x, place->dst_y, size->width, size->height) : QRect();
}

bool isAbove(xcb_window_t upper, xcb_window_t lower) {
    const auto order = x11::values(x11::rootOf(lower), "_NET_CLIENT_LIST_STACKING"); // from the bottom
    const auto under = std::find(order.begin(), order.end(), lower);
    return std::find(under, order.end(), upper) != order.end();
}

} // namespace

AboveFullScreen::AboveFullScreen(QWindow& window)
    : m_window(window)
    , m_activeWindow(x11::connection() ? x11::atom("_NET_ACTIVE_WINDOW") : 0)
    , m_stacking(x11::connection() ? x11::atom("_NET_CLIENT_LIST_STACKING") : 0) {
    // Qt sets the hint again each time the window is shown.
    connect(&window, &QWindow::visibleChanged, this, [this] {
        m_fullScreenWindow = XCB_WINDOW_NONE;
        scheduleUpdate();
    });
    qGuiApp->installNativeEventFilter(this);
}

AboveFullScreen::~AboveFullScreen() {
    qGuiApp->removeNativeEventFilter(this);
}

void AboveFullScreen::setEnabled(bool enabled) {
    m_enabled = enabled;
    scheduleUpdate();
}

bool AboveFullScreen::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (m_enabled && eventType == "xcb_generic_event_t") {
        const auto* event = static_cast<const xcb_property_notify_event_t*>(message);
        if ((event->response_type & 0x7F) == XCB_PROPERTY_NOTIFY &&
            (event->atom == m_activeWindow || event->atom == m_stacking)) {
            scheduleUpdate();
        }
    }
    return false;
}

void AboveFullScreen::scheduleUpdate() {
    if (m_activeWindow && !std::exchange(m_updateScheduled, true)) {
        QMetaObject::invokeMethod(this, &AboveFullScreen::update, Qt::QueuedConnection);
    }
}

void AboveFullScreen::update() {
    m_updateScheduled = false;
    if (!m_window.isVisible()) {
        return;
    }
    if (const auto fullScreenWindow = m_enabled ? windowToStayAbove() : xcb_window_t(XCB_WINDOW_NONE);
        fullScreenWindow != m_fullScreenWindow) {
        setTransientFor(fullScreenWindow);
    }
}

// Returns the full-screen window that our window must stay above now. Our window stays on top for as long as
// nothing else on that screen is active.
quint32 AboveFullScreen::windowToStayAbove() const {
    const auto self = x11::idOf(m_window);
    const auto active = x11::values(x11::rootOf(self), "_NET_ACTIVE_WINDOW");
    const auto first = active.empty() ? xcb_window_t(XCB_WINDOW_NONE) : active.front();
    if (first != XCB_WINDOW_NONE && first != self && first != m_fullScreenWindow && isFullScreen(first) &&
        isAbove(first, self)) {
        return first;
    }
    if (m_fullScreenWindow == XCB_WINDOW_NONE || !isFullScreen(m_fullScreenWindow)) {
        return XCB_WINDOW_NONE;
    }
    const bool elsewhere = first == XCB_WINDOW_NONE || first == self || first == m_fullScreenWindow ||
                           !placeOf(first).intersects(placeOf(m_fullScreenWindow));
    return elsewhere ? m_fullScreenWindow : xcb_window_t(XCB_WINDOW_NONE);
}

void AboveFullScreen::setTransientFor(quint32 fullScreenWindow) {
    auto* x = x11::connection();
    m_fullScreenWindow = fullScreenWindow;
    if (fullScreenWindow != XCB_WINDOW_NONE) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, x11::idOf(m_window), XCB_ATOM_WM_TRANSIENT_FOR,
                            XCB_ATOM_WINDOW, 32, 1, &fullScreenWindow);
        QTimer::singleShot(restackTimeout, this, &AboveFullScreen::checkPlace);
    } else {
        xcb_delete_property(x, x11::idOf(m_window), XCB_ATOM_WM_TRANSIENT_FOR);
        // As a dialog, the window has followed its owner to that workspace.
        setOnEveryDesktop(m_window);
    }
    xcb_flush(x);
}

void AboveFullScreen::checkPlace() const {
    static bool isReported = false;
    if (m_fullScreenWindow != XCB_WINDOW_NONE && isAbove(m_fullScreenWindow, x11::idOf(m_window)) &&
        !std::exchange(isReported, true)) {
        logLine(QStringLiteral("[Panel] This desktop keeps full-screen windows above the bar"));
    }
}

} // namespace platform
