#pragma once

#include "Utilities/Json.h"

#include <QMap>

#include <array>

namespace corvane {

// The actions that a shortcut can trigger, in the order in which the user sees them.
enum class ShortcutAction {
    toggleDashboard,
    toggleWindow,
    focusInput,
    moveWindowUp,
    moveWindowDown,
    moveWindowLeft,
    moveWindowRight,
    systemAudio,
    audioRecording,
    screenshot,
    manualSendStop
};
inline constexpr std::array allShortcutActions{
    ShortcutAction::toggleDashboard, ShortcutAction::toggleWindow,   ShortcutAction::focusInput,
    ShortcutAction::moveWindowUp,    ShortcutAction::moveWindowDown, ShortcutAction::moveWindowLeft,
    ShortcutAction::moveWindowRight, ShortcutAction::systemAudio,    ShortcutAction::audioRecording,
    ShortcutAction::screenshot,      ShortcutAction::manualSendStop};
QString rawValue(ShortcutAction action);
std::optional<ShortcutAction> shortcutAction(const QString& rawValue);
QString displayName(ShortcutAction action);
QString description(ShortcutAction action);
QString defaultKey(ShortcutAction action);
// Returns a key that GNOME 43, KDE Plasma 5.27 and Xfce 4.18 leave to programs by default. For most actions
// it is the default key.
QString freeKey(ShortcutAction action);
// Returns whether the action repeats for as long as its key is held.
bool isMove(ShortcutAction action);

struct ShortcutBinding {
    QString action; // the raw value
    QString key;    // in the grammar of KeyString
    bool enabled = true;

    bool operator==(const ShortcutBinding&) const = default;
    // Throws json::DecodingError when a key is missing or its value has another type.
    static ShortcutBinding fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

struct ShortcutsConfig {
    // The bindings by the raw value of their action. Unknown actions of a stored table are kept.
    QMap<QString, ShortcutBinding> bindings;

    bool operator==(const ShortcutsConfig&) const = default;
    // Returns all actions with their default keys.
    static ShortcutsConfig defaults();
    // Returns null when the action has no binding.
    const ShortcutBinding* binding(ShortcutAction action) const;
    // Throws json::DecodingError when a key is missing or its value has another type.
    static ShortcutsConfig fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

} // namespace corvane
