#include "Services/KeyString.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace corvane {

namespace {

namespace modifier = platform::modifier;
namespace keycode = platform::keycode;

struct ModifierWord {
    const char* word;
    quint32 flag;
    const char* written; // the word that a recorded key is given; null for its other names
    const char* shown;
};

// In the order in which they are written and shown.
constexpr std::array modifierWords{
    ModifierWord{"cmd", modifier::command, "CmdOrCtrl", "Super"},
    ModifierWord{"ctrl", modifier::control, "Ctrl", "Ctrl"},
    ModifierWord{"control", modifier::control, nullptr, nullptr},
    ModifierWord{"alt", modifier::option, "Alt", "Alt"},
    ModifierWord{"option", modifier::option, nullptr, nullptr},
    ModifierWord{"shift", modifier::shift, "Shift", "Shift"},
};

struct NamedKey {
    const char* name;
    int keyCode;
    const char* written; // null for its other names
    const char* shown;
};

constexpr std::array namedKeys{
    NamedKey{"up", keycode::up, "Up", "↑"},
    NamedKey{"down", keycode::down, "Down", "↓"},
    NamedKey{"left", keycode::left, "Left", "←"},
    NamedKey{"right", keycode::right, "Right", "→"},
    NamedKey{"space", keycode::space, "space", "Space"},
    NamedKey{"enter", keycode::returnKey, "Enter", "Enter"},
    NamedKey{"return", keycode::returnKey, nullptr, "Enter"},
    NamedKey{"escape", keycode::escape, "Escape", "Esc"},
    NamedKey{"esc", keycode::escape, nullptr, "Esc"},
    NamedKey{"tab", keycode::tab, "Tab", "Tab"},
    NamedKey{"backspace", keycode::backspace, "Backspace", "Backspace"},
    NamedKey{"delete", keycode::backspace, nullptr, "Backspace"},
};

const auto backslash = QStringLiteral("\\");

QStringList keyParts(const QString& text) {
    return text.toLower()
        .replace(QLatin1String("cmdorctrl"), QLatin1String("cmd"))
        .split(u'+', Qt::SkipEmptyParts);
}

// The capital is used only if lower-casing it gives the letter back.
QString capital(const QString& name) {
    const auto upper = name.toUpper();
    return name.size() == 1 && upper.toLower() == name ? upper : name;
}

QString join(quint32 modifierFlags, const QString& key, const char* ModifierWord::*spelling) {
    QString result;
    for (const auto& word : modifierWords) {
        if ((modifierFlags & word.flag) && word.*spelling) {
            result += QLatin1String(word.*spelling) + u'+';
        }
    }
    return result + key;
}

} // namespace

KeyString KeyString::parse(const QString& text) {
    KeyString key;
    const auto parts = keyParts(text);
    for (const auto& word : modifierWords) {
        if (parts.contains(QLatin1String(word.word))) {
            key.modifierFlags |= word.flag;
        }
    }
    if (parts.isEmpty()) {
        return key;
    }
    key.name = parts.last() == QLatin1String("backslash") ? backslash : parts.last();
    const auto named = std::ranges::find_if(
        namedKeys, [&](const NamedKey& row) { return key.name == QLatin1String(row.name); });
    key.keyCode = named == namedKeys.end() ? keycode::none : named->keyCode;
    return key;
}

std::optional<QString> KeyString::of(const platform::KeyEvent& event) {
    const auto lowered = event.charactersIgnoringModifiers.toLower();
    // The first row of a key is the one that is written.
    const auto named =
        std::ranges::find_if(namedKeys, [&](const NamedKey& row) { return event.keyCode == row.keyCode; });
    auto name = capital(lowered);
    if (named != namedKeys.end()) {
        name = QLatin1String(named->written);
    } else if (lowered.size() > 1) {
        name = event.charactersIgnoringModifiers; // "F5"
    }
    const auto text = join(event.modifierFlags, name, &ModifierWord::written);
    if (name.isEmpty() || !parse(text).matchesEvent(event, lowered)) {
        return std::nullopt;
    }
    return text;
}

QString shownKey(const QString& text) {
    const auto key = KeyString::parse(text);
    const auto named = std::ranges::find_if(
        namedKeys, [&](const NamedKey& row) { return key.name == QLatin1String(row.name); });
    QString name;
    if (named != namedKeys.end()) {
        name = QString::fromUtf8(named->shown);
    } else if (key.name.size() > 1 && key.name != backslash) {
        // The name as the user wrote it.
        name = text.split(u'+', Qt::SkipEmptyParts).last();
    } else {
        name = capital(key.name);
    }
    return join(key.modifierFlags, name, &ModifierWord::shown);
}

} // namespace corvane
