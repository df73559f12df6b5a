#include "Platform/Input/X11Keyboard.h"

#include <QSocketNotifier>

#include <xcb/xinput.h>
// This C header has a field named `explicit`.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-x11.h>

#include <array>
#include <cstdlib>

namespace platform {

namespace {

struct Free {
    void operator()(void* block) const { std::free(block); }
};
template<typename Type>
using Owned = std::unique_ptr<Type, Free>;

constexpr quint16 stateParts = XCB_XKB_STATE_PART_MODIFIER_STATE | XCB_XKB_STATE_PART_GROUP_STATE;
constexpr quint16 newKeyboardParts = XCB_XKB_NKN_DETAIL_KEYCODES | XCB_XKB_NKN_DETAIL_DEVICE_ID;
constexpr quint16 mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                             XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS;
constexpr quint32 departures =
    XCB_INPUT_HIERARCHY_MASK_MASTER_REMOVED | XCB_INPUT_HIERARCHY_MASK_SLAVE_REMOVED |
    XCB_INPUT_HIERARCHY_MASK_SLAVE_DETACHED | XCB_INPUT_HIERARCHY_MASK_DEVICE_DISABLED;
constexpr quint16 xinputMajor = 2;
constexpr quint16 xinputMinor = 1; // from 2.1 on, raw events are also sent during grabs

template<typename Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

} // namespace

X11Keyboard::X11Keyboard(xcb_connection_t* connection)
    : m_connection(connection)
    , m_layout(connection) {}

X11Keyboard::~X11Keyboard() {
    delete findChild<QSocketNotifier*>();
    xcb_disconnect(m_connection);
}

std::unique_ptr<X11Keyboard> X11Keyboard::open(bool ofAllPrograms) {
    std::unique_ptr<X11Keyboard> keyboard(new X11Keyboard(xcb_connect(nullptr, nullptr)));
    return keyboard->setUp(ofAllPrograms) ? std::move(keyboard) : nullptr;
}

bool X11Keyboard::setUp(bool ofAllPrograms) {
    if (xcb_connection_has_error(m_connection) || !selectKeyboardChanges() ||
        (ofAllPrograms && !selectRawKeys())) {
        return false;
    }
    auto* notifier = new QSocketNotifier(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &X11Keyboard::readEvents);
    // Events may have arrived together with the replies so far.
    readEvents();
    return true;
}

bool X11Keyboard::selectKeyboardChanges() {
    if (!xkb_x11_setup_xkb_extension(m_connection, XKB_X11_MIN_MAJOR_XKB_VERSION,
                                     XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                     nullptr, nullptr, &m_firstKeyboardEvent, nullptr)) {
        return false;
    }
    xcb_xkb_select_events_details_t details{};
    details.affectNewKeyboard = details.newKeyboardDetails = newKeyboardParts;
    details.affectState = details.stateDetails = stateParts;
    constexpr quint16 kinds = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY |
                              XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    xcb_xkb_select_events_aux(m_connection, XCB_XKB_ID_USE_CORE_KBD, kinds, 0, 0, mapParts, mapParts,
                              &details);
    const Owned<xcb_xkb_get_state_reply_t> state(xcb_xkb_get_state_reply(
        m_connection, xcb_xkb_get_state(m_connection, XCB_XKB_ID_USE_CORE_KBD), nullptr));
    if (state) {
        m_state = state->mods;
        m_group = state->group;
    }
    return state != nullptr;
}

bool X11Keyboard::selectRawKeys() {
    const auto* extension = xcb_get_extension_data(m_connection, &xcb_input_id);
    if (!extension || !extension->present) {
        return false;
    }
    m_inputOpcode = extension->major_opcode;
    const Owned<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        m_connection, xcb_input_xi_query_version(m_connection, xinputMajor, xinputMinor), nullptr));
    if (!version || version->major_version < xinputMajor || version->minor_version < xinputMinor) {
        return false;
    }
    struct Selection {
        xcb_input_event_mask_t head;
        quint32 mask;
    };
    const std::array selections{
        Selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
                  XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE},
        Selection{{XCB_INPUT_DEVICE_ALL, 1}, XCB_INPUT_XI_EVENT_MASK_HIERARCHY},
    };
    for (auto screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)); screen.rem;
         xcb_screen_next(&screen)) {
        for (const auto& selection : selections) {
            xcb_input_xi_select_events(m_connection, screen.data->root, 1, &selection.head);
        }
    }
    return xcb_flush(m_connection) > 0;
}

// Waiting for a reply may also read events, for which the descriptor then does not become readable.
void X11Keyboard::readEventsSoon() {
    if (!std::exchange(m_readingScheduled, true)) {
        QMetaObject::invokeMethod(this, &X11Keyboard::readEvents, Qt::QueuedConnection);
    }
}

const KeyLayout& X11Keyboard::layout() {
    readEventsSoon();
    return m_layout;
}

quint32 X11Keyboard::focusedWindow() {
    readEventsSoon();
    const Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    return reply ? reply->focus : quint32(XCB_NONE);
}

void X11Keyboard::followFocus(quint32 window) {
    constexpr quint32 mask = XCB_EVENT_MASK_FOCUS_CHANGE;
    xcb_change_window_attributes(m_connection, window, XCB_CW_EVENT_MASK, &mask);
    m_followed.insert(window);
    if (focusedWindow() == window) {
        m_followedFocus = window;
    }
}

void X11Keyboard::unfollowFocus(quint32 window) {
    m_followed.erase(window);
    if (m_followedFocus == window) {
        m_followedFocus = 0;
    }
}

void X11Keyboard::readEvents() {
    m_readingScheduled = false;
    while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)}) {
        handle(*event);
    }
    if (xcb_connection_has_error(m_connection)) {
        delete findChild<QSocketNotifier*>();
        m_held.clear();
        Q_EMIT keysLost();
        Q_EMIT closed();
    }
}

void X11Keyboard::handle(const xcb_generic_event_t& event) {
    const auto type = event.response_type & 0x7F;
    if (type == m_firstKeyboardEvent) {
        handleKeyboardChange(event);
        return;
    }
    if (type == XCB_FOCUS_IN || type == XCB_FOCUS_OUT) {
        handleFocus(event);
        return;
    }
    const auto& general = as<xcb_ge_generic_event_t>(event);
    if (type != XCB_GE_GENERIC || general.extension != m_inputOpcode) {
        return;
    }
    if (general.event_type == XCB_INPUT_RAW_KEY_PRESS || general.event_type == XCB_INPUT_RAW_KEY_RELEASE) {
        handleRawKey(event, general.event_type == XCB_INPUT_RAW_KEY_PRESS);
    } else if (general.event_type == XCB_INPUT_HIERARCHY &&
               (as<xcb_input_hierarchy_event_t>(event).flags & departures)) {
        m_held.clear();
        Q_EMIT keysLost();
    }
}

// Focus events arrive in order with the keys; the reply to a query would be later than both.
void X11Keyboard::handleFocus(const xcb_generic_event_t& event) {
    const auto& change = as<xcb_focus_in_event_t>(event);
    const bool ofAGrab = change.mode == XCB_NOTIFY_MODE_GRAB || change.mode == XCB_NOTIFY_MODE_UNGRAB;
    const bool ofThePointer = change.detail >= XCB_NOTIFY_DETAIL_POINTER;
    if (ofAGrab || ofThePointer || !followsFocus(change.event)) {
        return;
    }
    if ((event.response_type & 0x7F) == XCB_FOCUS_IN) {
        m_followedFocus = change.event;
    } else if (m_followedFocus == change.event) {
        m_followedFocus = 0;
    }
}

void X11Keyboard::handleRawKey(const xcb_generic_event_t& event, bool isPress) {
    const auto& raw = as<xcb_input_raw_key_press_event_t>(event);
    const bool isARepeat = isPress && !m_held.insert(raw.detail).second;
    if (!isPress) {
        m_held.erase(raw.detail);
    }
    if (!m_layout.isModifier(raw.detail, m_group)) {
        Q_EMIT keyChanged({.isPress = isPress,
                           .code = raw.detail,
                           .time = raw.time,
                           .state = m_state,
                           .group = m_group,
                           .isARepeat = isARepeat});
    }
}

void X11Keyboard::handleKeyboardChange(const xcb_generic_event_t& event) {
    const auto& state = as<xcb_xkb_state_notify_event_t>(event);
    if (state.xkbType == XCB_XKB_STATE_NOTIFY) {
        m_state = state.mods;
        m_group = state.group;
    } else {
        m_layout.forget();
    }
}

} // namespace platform
