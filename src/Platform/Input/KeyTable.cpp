#include "Platform/Input/KeyTable.h"

#include "Platform/Input/KeyEvent.h"

#include <QString>

#include <algorithm>
#include <array>
#include <cstring>

namespace platform {

namespace {

struct Key {
    int keyCode;
    const char* xkbName;
    Qt::Key qtKey;
    const char* symbol;
};

constexpr std::array keys{
    Key{keycode::up, "UP", Qt::Key_Up, "Up"},
    Key{keycode::down, "DOWN", Qt::Key_Down, "Down"},
    Key{keycode::left, "LEFT", Qt::Key_Left, "Left"},
    Key{keycode::right, "RGHT", Qt::Key_Right, "Right"},
    Key{keycode::space, "SPCE", Qt::Key_Space, "space"},
    Key{keycode::returnKey, "RTRN", Qt::Key_Return, "Return"},
    Key{keycode::escape, "ESC", Qt::Key_Escape, "Escape"},
    Key{keycode::tab, "TAB", Qt::Key_Tab, "Tab"},
    Key{keycode::backspace, "BKSP", Qt::Key_Backspace, "BackSpace"},
};

struct Modifier {
    quint32 state;
    quint32 flag;
};

// Mod1 is Alt, Mod4 is Super and Mod5 is AltGr in every layout that xkeyboard-config makes.
constexpr std::array modifiers{
    Modifier{0x01, modifier::shift},  Modifier{0x04, modifier::control}, Modifier{0x08, modifier::option},
    Modifier{0x80, modifier::option}, Modifier{0x40, modifier::command},
};

template<typename Matches>
int keyCodeWhere(Matches matches) {
    const auto found = std::ranges::find_if(keys, matches);
    return found == keys.end() ? keycode::none : found->keyCode;
}

} // namespace

int keyCodeOfPlace(const char* xkbName) {
    return keyCodeWhere([=](const Key& key) { return xkbName && std::strcmp(key.xkbName, xkbName) == 0; });
}

int keyCodeOfQtKey(int qtKey) {
    return keyCodeWhere([=](const Key& key) { return key.qtKey == qtKey; });
}

int keyCodeOfSymbol(const QString& symbol) {
    return keyCodeWhere(
        [&](const Key& key) { return symbol.compare(QLatin1String(key.symbol), Qt::CaseInsensitive) == 0; });
}

const char* symbolOf(int keyCode) {
    const auto found = std::ranges::find(keys, keyCode, &Key::keyCode);
    return found == keys.end() ? nullptr : found->symbol;
}

quint32 modifierFlagsOfX11(quint32 state) {
    quint32 flags = 0;
    for (const auto& row : modifiers) {
        flags |= (state & row.state) ? row.flag : 0;
    }
    return flags;
}

} // namespace platform
