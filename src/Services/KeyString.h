#pragma once

#include "Platform/Input/KeyEvent.h"

#include <QString>

#include <optional>

namespace corvane {

// A key as the user's table writes it: modifier words and a key name, joined by "+", in any case. The words
// are cmd (cmdorctrl), ctrl (control), alt (option) and shift, in any place; the last part is the key's name.
// Every text means some key, if only one that no keyboard has.
struct KeyString {
    quint32 modifierFlags = 0;
    int keyCode = platform::keycode::none; // of a key that goes by its place
    QString name;                          // lower case; what the others type

    static KeyString parse(const QString& text);
    // What the pressed key is written as: "CmdOrCtrl+Shift+D". Nothing for a key that the grammar cannot
    // name, such as plus.
    static std::optional<QString> of(const platform::KeyEvent& event);

    // `lowered` is what the event types, in lower case.
    bool matches(const platform::KeyEvent& event, const QString& lowered) const {
        return (event.modifierFlags & platform::modifier::all) == modifierFlags &&
               (keyCode == platform::keycode::none ? lowered == name : event.keyCode == keyCode);
    }
};

// As this desktop writes keys: "Super+Shift+D", "Super+↑", "Space". Empty for no key.
QString shownKey(const QString& text);

} // namespace corvane
