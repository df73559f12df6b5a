#pragma once

#include <QString>

namespace platform {

// Bits of modifierFlags. Other bits say nothing here.
//
// Command is the Super (logo, Windows, ⌘) key, not Control, and this is the one place that decides it. The
// two words name different modifiers, so both need a key of their own. Keys of other programs are seen, never
// taken: with Control, each word that is skipped by Ctrl+Left in an editor would move the bar, Ctrl+\ would
// quit what runs in a terminal, Ctrl+Shift+M would mute the meeting, and in our own fields, where a match
// does take the key, Ctrl+Left could skip no word at all. Programs leave Super to the desktop, whose own use
// of it (some tile a window by Super and an arrow) goes on beside ours.
namespace modifier {
inline constexpr quint32 shift = 0x20000;
inline constexpr quint32 control = 0x40000;
inline constexpr quint32 option = 0x80000; // Alt, and AltGr
inline constexpr quint32 command = 0x100000;
inline constexpr quint32 all = shift | control | option | command;
} // namespace modifier

// Keys by their place on the keyboard, whatever the layout makes of them. Only those that have a name.
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

// A key went down or up. A modifier by itself is no key.
struct KeyEvent {
    quint32 modifierFlags = 0;
    // What the layout in force gives for the key, with Shift if that is down and nothing else; a key that
    // types nothing is called by the name of its symbol, "F5". With whatever case.
    QString charactersIgnoringModifiers;
    int keyCode = keycode::none;
    bool isARepeat = false;     // the key has been down before
    bool isInTextField = false; // what has our own window's focus takes text
    bool isForControl = false;  // the control that visibly has it is used by this key
};

} // namespace platform
