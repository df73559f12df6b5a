#include "Models/ShortcutModels.h"

namespace corvane {

namespace {

struct ActionRow {
    const char* rawValue;
    const char* displayName;
    const char* description;
    const char* defaultKey;
};

// In the order of the enumeration.
constexpr std::array<ActionRow, allShortcutActions.size()> actionRows{{
    {"toggle_dashboard", "Toggle Dashboard", "Show or hide the dashboard window", "CmdOrCtrl+Shift+D"},
    {"toggle_window", "Toggle Window", "Show or hide the floating bar", "CmdOrCtrl+\\"},
    {"focus_input", "Focus Input", "Show the bar and focus the text input", "CmdOrCtrl+Shift+I"},
    {"move_window_up", "Move Window Up", "Move the floating bar up", "CmdOrCtrl+Up"},
    {"move_window_down", "Move Window Down", "Move the floating bar down", "CmdOrCtrl+Down"},
    {"move_window_left", "Move Window Left", "Move the floating bar left", "CmdOrCtrl+Left"},
    {"move_window_right", "Move Window Right", "Move the floating bar right", "CmdOrCtrl+Right"},
    {"system_audio", "System Audio", "Toggle system audio capture", "CmdOrCtrl+Shift+M"},
    {"audio_recording", "Audio Recording", "Start or stop mic recording", "CmdOrCtrl+Shift+A"},
    {"screenshot", "Screenshot", "Capture a screenshot", "CmdOrCtrl+Shift+S"},
    {"manual_send_stop", "Manual Send (Stop Speech)",
     "When manual mode is on, sends candidate_speech_stop to trigger the assistant response.", "space"},
}};

const ActionRow& actionRow(ShortcutAction action) {
    return actionRows[static_cast<size_t>(action)];
}

} // namespace

QString rawValue(ShortcutAction action) {
    return QLatin1String(actionRow(action).rawValue);
}

std::optional<ShortcutAction> shortcutAction(const QString& rawValue) {
    const auto found = std::ranges::find_if(
        actionRows, [&](const ActionRow& row) { return rawValue == QLatin1String(row.rawValue); });
    return found == actionRows.end() ? std::nullopt
                                     : std::optional(static_cast<ShortcutAction>(found - actionRows.begin()));
}

QString displayName(ShortcutAction action) {
    return QLatin1String(actionRow(action).displayName);
}

QString description(ShortcutAction action) {
    return QLatin1String(actionRow(action).description);
}

QString defaultKey(ShortcutAction action) {
    return QLatin1String(actionRow(action).defaultKey);
}

QString freeKey(ShortcutAction action) {
    // Desktops use Super and an arrow, alone or with one more modifier, to tile windows or change workspaces.
    const auto key = defaultKey(action);
    return isMove(action) ? QString(key).replace(u'+', QStringLiteral("+Ctrl+Alt+")) : key;
}

bool isMove(ShortcutAction action) {
    return action >= ShortcutAction::moveWindowUp && action <= ShortcutAction::moveWindowRight;
}

ShortcutBinding ShortcutBinding::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {.action = json::requiredString(object, "action"),
            .key = json::requiredString(object, "key"),
            .enabled = json::requiredBoolean(object, "enabled")};
}

boost::json::object ShortcutBinding::toJson() const {
    return {{"action", json::toJson(action)}, {"key", json::toJson(key)}, {"enabled", enabled}};
}

ShortcutsConfig ShortcutsConfig::defaults() {
    ShortcutsConfig config;
    for (const auto action : allShortcutActions) {
        const auto raw = rawValue(action);
        config.bindings.insert(raw, {.action = raw, .key = defaultKey(action), .enabled = true});
    }
    return config;
}

const ShortcutBinding* ShortcutsConfig::binding(ShortcutAction action) const {
    const auto found = bindings.constFind(rawValue(action));
    return found == bindings.constEnd() ? nullptr : &*found;
}

ShortcutsConfig ShortcutsConfig::fromJson(const boost::json::value& value) {
    ShortcutsConfig config;
    for (const auto& [name, entry] : json::asObject(json::requiredValue(json::asObject(value), "bindings"))) {
        config.bindings.insert(json::toQString(name), ShortcutBinding::fromJson(entry));
    }
    return config;
}

boost::json::object ShortcutsConfig::toJson() const {
    boost::json::object entries;
    for (auto entry = bindings.begin(); entry != bindings.end(); ++entry) {
        entries[json::toJson(entry.key())] = entry->toJson();
    }
    return {{"bindings", std::move(entries)}};
}

} // namespace corvane
