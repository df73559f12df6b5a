#include "Models/SettingsModels.h"

namespace corvane {

namespace {

constexpr std::array themeNames{"light", "dark", "system"};
constexpr std::array cursorNames{"invisible", "default", "auto"};
constexpr std::array screenshotModeNames{"auto", "manual"};

template<typename Enumeration, size_t size>
std::optional<Enumeration> named(const std::array<const char*, size>& names, const QString& text) {
    const auto found =
        std::ranges::find_if(names, [&](const char* name) { return text == QLatin1String(name); });
    return found == names.end() ? std::nullopt
                                : std::optional(static_cast<Enumeration>(found - names.begin()));
}

template<typename Enumeration, size_t size>
Enumeration requiredNamed(const std::array<const char*, size>& names, const boost::json::object& object,
                          const char* key) {
    const auto value = named<Enumeration>(names, json::requiredString(object, key));
    if (!value) {
        throw json::DecodingError(std::string("unknown value for key: ") + key);
    }
    return *value;
}

bool memberBoolean(const boost::json::object& object, const char* member, const char* key) {
    return json::requiredBoolean(json::asObject(json::requiredValue(object, member)), key);
}

} // namespace

QString rawValue(AppTheme theme) {
    return QLatin1String(themeNames[static_cast<size_t>(theme)]);
}

std::optional<AppTheme> appTheme(const QString& rawValue) {
    return named<AppTheme>(themeNames, rawValue);
}

QString rawValue(CursorType type) {
    return QLatin1String(cursorNames[static_cast<size_t>(type)]);
}

QString rawValue(ScreenshotMode mode) {
    return QLatin1String(screenshotModeNames[static_cast<size_t>(mode)]);
}

CustomizableState CustomizableState::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    const auto& cursorObject = json::asObject(json::requiredValue(object, "cursor"));
    return {.appIcon = {memberBoolean(object, "appIcon", "isVisible")},
            .alwaysOnTop = {memberBoolean(object, "alwaysOnTop", "isEnabled")},
            .autostart = {memberBoolean(object, "autostart", "isEnabled")},
            .cursor = {requiredNamed<CursorType>(cursorNames, cursorObject, "type")},
            .contentProtected = {memberBoolean(object, "contentProtected", "isEnabled")}};
}

boost::json::object CustomizableState::toJson() const {
    using boost::json::object;
    return {{"appIcon", object{{"isVisible", appIcon.isVisible}}},
            {"alwaysOnTop", object{{"isEnabled", alwaysOnTop.isEnabled}}},
            {"autostart", object{{"isEnabled", autostart.isEnabled}}},
            {"cursor", object{{"type", json::toJson(rawValue(cursor.type))}}},
            {"contentProtected", object{{"isEnabled", contentProtected.isEnabled}}}};
}

ScreenshotConfig ScreenshotConfig::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {.mode = requiredNamed<ScreenshotMode>(screenshotModeNames, object, "mode"),
            .autoPrompt = json::requiredString(object, "autoPrompt"),
            .enabled = json::requiredBoolean(object, "enabled")};
}

boost::json::object ScreenshotConfig::toJson() const {
    return {{"mode", json::toJson(rawValue(mode))},
            {"autoPrompt", json::toJson(autoPrompt)},
            {"enabled", enabled}};
}

ResponseSettings ResponseSettings::fromJson(const boost::json::value& value) {
    return {.autoScroll = json::requiredBoolean(json::asObject(value), "autoScroll")};
}

boost::json::object ResponseSettings::toJson() const {
    return {{"autoScroll", autoScroll}};
}

SelectedAudioDevices SelectedAudioDevices::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {.input = json::optionalString(object, "input"), .output = json::optionalString(object, "output")};
}

boost::json::object SelectedAudioDevices::toJson() const {
    boost::json::object object;
    if (input) {
        object["input"] = json::toJson(*input);
    }
    if (output) {
        object["output"] = json::toJson(*output);
    }
    return object;
}

} // namespace corvane
