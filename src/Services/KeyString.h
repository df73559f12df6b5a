#pragma once

#include "Platform/Input/KeyEvent.h"

#include <QString>

#include <optional>

namespace corvane {

// A key as the shortcuts table writes it: modifier words and the name of a key, joined by "+", in any case.
// The modifier words are cmd (cmdorctrl), ctrl (control), alt (option) and shift, in any position; the last
// part is the name of the key. Any text can be parsed, though it may name a key that no keyboard has.
struct KeyString {
    quint32 modifierFlags = 0;
    int keyCode = platform::keycode::none; // of a key that is identified by its position
    QString name;                          // in lower case; the text that other keys type

    static KeyString parse(const QString& text);
    // Returns the pressed key as the table writes it, such as "CmdOrCtrl+Shift+D", or nullopt for a key that
    // the grammar cannot name, such as plus.
    static std::optional<QString> of(const platform::KeyEvent& event);

    // Returns whether the event is a press of this key. `lowered` is the text that the event types, in lower
    // case.
    bool matchesEvent(const platform::KeyEvent& event, const QString& lowered) const {
        return (event.modifierFlags & platform::modifier::all) == modifierFlags &&
               (keyCode == platform::keycode::none ? lowered == name : event.keyCode == keyCode);
    }
};

// Returns the key as Linux desktops write it: "Super+Shift+D", "Super+↑", "Space". Returns an empty text when
// there is no key.
QString shownKey(const QString& text);

} // namespace corvane
