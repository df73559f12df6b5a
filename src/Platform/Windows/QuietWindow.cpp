#include "Platform/Windows/QuietWindow.h"

#include "Platform/Windows/XcbWindow.h"

#include <QRegion>
#include <QVariant>
#include <QWindow>

namespace platform {

namespace {

constexpr uint32_t everyDesktop = 0xFFFFFFFF;

void setProperty(const QWindow& window, const char* name, xcb_atom_t type,
                 const std::vector<uint32_t>& values) {
    xcb_change_property(x11::connection(), XCB_PROP_MODE_REPLACE, x11::idOf(window), x11::atom(name), type,
                        32, static_cast<uint32_t>(values.size()), values.data());
    xcb_flush(x11::connection());
}

// A mapped window's state is the window manager's to change; an unmapped one's stands in its property.
void setState(const QWindow& window, const char* name, bool on) {
    if (!x11::connection()) {
        return;
    }
    const auto state = x11::atom(name);
    if (window.isVisible()) {
        x11::tellManager(x11::idOf(window), "_NET_WM_STATE", on ? 1 : 0, state);
        return;
    }
    auto states = x11::values(x11::idOf(window), "_NET_WM_STATE");
    std::erase(states, state);
    if (on) {
        states.push_back(state);
    }
    setProperty(window, "_NET_WM_STATE", XCB_ATOM_ATOM, states);
}

} // namespace

bool canStayAbove() {
    auto* x = x11::connection();
    const auto above = x ? x11::atom("_NET_WM_STATE_ABOVE") : xcb_atom_t(XCB_ATOM_NONE);
    return x && x11::holds(xcb_setup_roots_iterator(xcb_get_setup(x)).data->root, "_NET_SUPPORTED", above);
}

void setStaysAbove(QWindow& window, bool above) {
    setState(window, "_NET_WM_STATE_ABOVE", above);
}

void setSkipsTaskbar(QWindow& window, bool skips) {
    setState(window, "_NET_WM_STATE_SKIP_TASKBAR", skips);
    setState(window, "_NET_WM_STATE_SKIP_PAGER", skips);
}

void setOnEveryDesktop(QWindow& window) {
    if (!x11::connection()) {
        return;
    }
    if (window.isVisible()) {
        x11::tellManager(x11::idOf(window), "_NET_WM_DESKTOP", everyDesktop, 1);
    } else {
        setProperty(window, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {everyDesktop});
    }
}

void setShowsQuietly(QWindow& window) {
    // Qt itself writes _NET_WM_USER_TIME at each showing: 0 for a window with this property.
    window.setProperty("_q_showWithoutActivating", true);
}

void setShape(QWindow& window, const QRegion& shape) {
    // An empty region would lift the shape; this one lies outside the window.
    window.setMask(shape.isEmpty() ? QRegion(-2, -2, 1, 1) : shape);
    if (x11::connection()) {
        // Qt would send it with its next request, and a window without a shape has none to make.
        xcb_flush(x11::connection());
    }
}

} // namespace platform
