#include "Platform/Windows/XcbWindow.h"

#include <QGuiApplication>
#include <QWindow>
#include <qguiapplication_platform.h>

#include <algorithm>

namespace platform::x11 {

namespace {

constexpr uint32_t maximumValues = 1024;
constexpr uint32_t sourceApplication = 1;

} // namespace

xcb_connection_t* connection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(const char* name) {
    auto* x = connection();
    const Answer<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, static_cast<uint16_t>(qstrlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_window_t rootOf(xcb_window_t window) {
    auto* x = connection();
    const Answer<xcb_get_geometry_reply_t> reply(
        xcb_get_geometry_reply(x, xcb_get_geometry(x, window), nullptr));
    return reply ? reply->root : xcb_window_t(XCB_WINDOW_NONE);
}

xcb_window_t idOf(const QWindow& window) {
    return static_cast<xcb_window_t>(window.winId());
}

std::vector<uint32_t> values(xcb_window_t window, const char* property) {
    auto* x = connection();
    const Answer<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        x, xcb_get_property(x, 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, maximumValues),
        nullptr));
    if (!reply || reply->format != 32) {
        return {};
    }
    const auto* first = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

bool holds(xcb_window_t window, const char* property, uint32_t value) {
    const auto all = values(window, property);
    return std::find(all.begin(), all.end(), value) != all.end();
}

void setProperty(xcb_window_t window, const char* name, xcb_atom_t type,
                 const std::vector<uint32_t>& values) {
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window, atom(name), type, 32,
                        static_cast<uint32_t>(values.size()), values.data());
    xcb_flush(connection());
}

// The server reports its time only with events, such as the change of a property. This uses a connection of
// its own, because events on the other one go to Qt.
uint32_t serverTime() {
    auto* x = xcb_connect(nullptr, nullptr);
    uint32_t time = XCB_CURRENT_TIME;
    if (!xcb_connection_has_error(x)) {
        constexpr uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
        const auto window = xcb_generate_id(x);
        xcb_create_window(x, 0, window, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                          screen->root_visual, XCB_CW_EVENT_MASK, &mask);
        xcb_change_property(x, XCB_PROP_MODE_APPEND, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0,
                            nullptr);
        xcb_flush(x);
        const Answer<xcb_generic_event_t> event(xcb_wait_for_event(x));
        if (event && (event->response_type & 0x7F) == XCB_PROPERTY_NOTIFY) {
            time = reinterpret_cast<const xcb_property_notify_event_t*>(event.get())->time;
        }
    }
    xcb_disconnect(x);
    return time;
}

void tellManager(xcb_window_t window, const char* message, uint32_t first, uint32_t second) {
    auto* x = connection();
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(message);
    event.data.data32[0] = first;
    event.data.data32[1] = second;
    event.data.data32[3] = sourceApplication;
    xcb_send_event(x, 0, rootOf(window),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(x);
}

} // namespace platform::x11
