#pragma once

#include <QString>

namespace platform {

// Bits of modifierFlags; other bits have no meaning.
//
// Command is the Super (logo, Windows, ⌘) key, not Control; only this file decides that. The two names stand
// for different modifiers, so each needs a key of its own. Keys of other programs are seen but not consumed:
// with Control, every word skipped by Ctrl+Left in an editor would move the bar, Control and the backslash
// would quit the program in a terminal, and Ctrl+Shift+M would mute the meeting; in our own fields, where a
// match does consume the key, Ctrl+Left could not skip a word. Programs leave Super to the desktop, whose own
// use of it (some tile windows by Super and an arrow) continues beside ours.
namespace modifier {
inline constexpr quint32 shift = 0x20000;
inline constexpr quint32 control = 0x40000;
inline constexpr quint32 option = 0x80000; // Alt, and AltGr
inline constexpr quint32 command = 0x100000;
inline constexpr quint32 all = shift | control | option | command;
} // namespace modifier

// Key codes by position on the keyboard, regardless of the layout. Only keys with a fixed name have one.
namespace keycode {
inline constexpr int none = -1;
inline constexpr int returnKey = 36;
inline constexpr int tab = 48;
inline constexpr int space = 49;
inline constexpr int backspace = 51;
inline constexpr int escape = 53;
inline constexpr int left = 123;
inline constexpr int right = 124;
inline constexpr int down = 125;
inline constexpr int up = 126;
} // namespace keycode

// A key that was pressed or released. A modifier alone does not count as a key.
struct KeyEvent {
    quint32 modifierFlags = 0;
    // What the key types in the current layout, with Shift if that is down and without other modifiers. A key
    // that types nothing has the name of its symbol, such as "F5". The case is not normalised.
    QString charactersIgnoringModifiers;
    int keyCode = keycode::none;
    bool isARepeat = false;     // the key was already down
    bool isInTextField = false; // the focused item of our window takes text
    bool isForControl = false;  // the visibly focused control is operated by this key
};

} // namespace platform
