#include "Platform/Input/KeyLayout.h"

#include "Platform/Input/KeyEvent.h"
#include "Platform/Input/KeyTable.h"

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <array>
#include <utility>

namespace platform {

namespace {

constexpr xkb_mod_mask_t shiftMask = 1; // the real modifiers come first, as X11 numbers them

bool isModifierSymbol(xkb_keysym_t symbol) {
    return (symbol >= XKB_KEY_Shift_L && symbol <= XKB_KEY_Hyper_R) ||
           (symbol >= XKB_KEY_ISO_Lock && symbol <= XKB_KEY_ISO_Level5_Lock) ||
           symbol == XKB_KEY_Mode_switch || symbol == XKB_KEY_Num_Lock;
}

} // namespace

KeyLayout::KeyLayout(xcb_connection_t* connection)
    : m_connection(connection) {}

KeyLayout::~KeyLayout() {
    forget();
    xkb_context_unref(m_context);
}

void KeyLayout::forget() {
    xkb_state_unref(std::exchange(m_state, nullptr));
    xkb_keymap_unref(std::exchange(m_keymap, nullptr));
}

bool KeyLayout::load() const {
    if (!m_context) {
        m_context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    }
    if (m_context && !m_keymap) {
        const auto device = xkb_x11_get_core_keyboard_device_id(m_connection);
        m_keymap = device < 0 ? nullptr
                              : xkb_x11_keymap_new_from_device(m_context, m_connection, device,
                                                               XKB_KEYMAP_COMPILE_NO_FLAGS);
        m_state = m_keymap ? xkb_state_new(m_keymap) : nullptr;
    }
    return m_state != nullptr;
}

bool KeyLayout::isModifier(quint32 key, quint32 group) const {
    if (!load()) {
        return false;
    }
    xkb_state_update_mask(m_state, 0, 0, 0, 0, 0, group);
    return isModifierSymbol(xkb_state_key_get_one_sym(m_state, key));
}

int KeyLayout::keyCode(quint32 key) const {
    return load() ? keyCodeOfPlace(xkb_keymap_key_get_name(m_keymap, key)) : keycode::none;
}

QString KeyLayout::characters(quint32 key, quint32 group, bool withShift) const {
    if (!load()) {
        return {};
    }
    xkb_state_update_mask(m_state, withShift ? shiftMask : 0, 0, 0, 0, 0, group);
    std::array<char, 64> text{};
    xkb_state_key_get_utf8(m_state, key, text.data(), text.size());
    const auto characters = QString::fromUtf8(text.data());
    if (!characters.isEmpty() && characters.front().isPrint()) {
        return characters;
    }
    xkb_keysym_get_name(xkb_state_key_get_one_sym(m_state, key), text.data(), text.size());
    return QString::fromLatin1(text.data());
}

} // namespace platform
