#include "QuietWindow.h"

#include <QGuiApplication>
#include <QWindow>
#include <qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <vector>

namespace platform {

namespace {

constexpr uint32_t everyDesktop = 0xFFFFFFFF;
constexpr uint32_t noUserTime = 0; // a window that no user action has asked for: it gets no focus
constexpr uint32_t sourceApplication = 1;
constexpr uint32_t maximumAtoms = 64;

xcb_connection_t* connection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t* x, const char* name) {
    const auto length = static_cast<uint16_t>(qstrlen(name));
    auto* reply = xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, length, name), nullptr);
    const auto result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return result;
}

xcb_window_t rootOf(xcb_connection_t* x, xcb_window_t window) {
    auto* reply = xcb_get_geometry_reply(x, xcb_get_geometry(x, window), nullptr);
    const auto root = reply ? reply->root : xcb_window_t(XCB_WINDOW_NONE);
    std::free(reply);
    return root;
}

void setCardinal(xcb_connection_t* x, xcb_window_t window, const char* property, uint32_t value) {
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, atom(x, property), XCB_ATOM_CARDINAL, 32, 1,
                        &value);
}

std::vector<xcb_atom_t> atomsOf(xcb_connection_t* x, xcb_window_t window, xcb_atom_t property) {
    std::vector<xcb_atom_t> atoms;
    auto* reply = xcb_get_property_reply(
        x, xcb_get_property(x, 0, window, property, XCB_ATOM_ATOM, 0, maximumAtoms), nullptr);
    if (reply) {
        const auto* first = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply));
        atoms.assign(first, first + xcb_get_property_value_length(reply) / int(sizeof(xcb_atom_t)));
        std::free(reply);
    }
    return atoms;
}

// A mapped window's state is the window manager's to change; an unmapped one's stands in its property.
void setState(QWindow& window, const char* name, bool on) {
    auto* x = connection();
    if (!x) {
        return;
    }
    const auto id = static_cast<xcb_window_t>(window.winId());
    const auto property = atom(x, "_NET_WM_STATE");
    const auto state = atom(x, name);
    if (window.isVisible()) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = id;
        message.type = property;
        message.data.data32[0] = on ? 1 : 0;
        message.data.data32[1] = state;
        message.data.data32[3] = sourceApplication;
        xcb_send_event(x, 0, rootOf(x, id),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
    } else {
        auto atoms = atomsOf(x, id, property);
        std::erase(atoms, state);
        if (on) {
            atoms.push_back(state);
        }
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, id, property, XCB_ATOM_ATOM, 32,
                            static_cast<uint32_t>(atoms.size()), atoms.data());
    }
    xcb_flush(x);
}

} // namespace

void prepareQuietShow(QWindow& window) {
    if (auto* x = connection()) {
        const auto id = static_cast<xcb_window_t>(window.winId());
        setCardinal(x, id, "_NET_WM_USER_TIME", noUserTime);
        setCardinal(x, id, "_NET_WM_DESKTOP", everyDesktop);
        xcb_flush(x);
    }
}

void setStaysAbove(QWindow& window, bool above) {
    setState(window, "_NET_WM_STATE_ABOVE", above);
}

void setSkipsTaskbar(QWindow& window, bool skips) {
    setState(window, "_NET_WM_STATE_SKIP_TASKBAR", skips);
    setState(window, "_NET_WM_STATE_SKIP_PAGER", skips);
}

} // namespace platform
