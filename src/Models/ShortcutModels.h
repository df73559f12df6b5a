#pragma once

#include "Utilities/Json.h"

#include <QMap>

#include <array>

namespace corvane {

// What a key can do to the program, in the order in which the user is shown it.
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
// One that GNOME 43, KDE Plasma 5.27 and Xfce 4.18 leave to programs as they ship; mostly the default.
QString freeKey(ShortcutAction action);
// Those that go on for as long as their key is held.
bool isMove(ShortcutAction action);

struct ShortcutBinding {
    QString action; // the raw value
    QString key;    // by the grammar of KeyString
    bool enabled = true;

    bool operator==(const ShortcutBinding&) const = default;
    // Strict: throws json::DecodingError.
    static ShortcutBinding fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

struct ShortcutsConfig {
    // By the action's raw value. What a stored table has beside the known actions stays in it.
    QMap<QString, ShortcutBinding> bindings;

    bool operator==(const ShortcutsConfig&) const = default;
    // All actions, each with its default key.
    static ShortcutsConfig defaults();
    // Null when the table has none.
    const ShortcutBinding* binding(ShortcutAction action) const;
    // Strict: throws json::DecodingError.
    static ShortcutsConfig fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

} // namespace corvane
