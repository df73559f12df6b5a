#pragma once

#include "Utilities/Json.h"

#include <array>

namespace corvane {

// The settings that are kept in the defaults store. fromJson() throws json::DecodingError when a key is
// missing or its value has another type.

enum class AppTheme { light, dark, system };
inline constexpr std::array allAppThemes{AppTheme::light, AppTheme::dark, AppTheme::system};
QString rawValue(AppTheme theme);
std::optional<AppTheme> appTheme(const QString& rawValue);

enum class CursorType { invisible, default_, auto_ };
QString rawValue(CursorType type);

enum class ScreenshotMode { auto_, manual };
QString rawValue(ScreenshotMode mode);

struct AppIconState {
    bool isVisible = true;
    bool operator==(const AppIconState&) const = default;
};

struct AlwaysOnTopState {
    bool isEnabled = false;
    bool operator==(const AlwaysOnTopState&) const = default;
};

struct AutostartState {
    bool isEnabled = false;
    bool operator==(const AutostartState&) const = default;
};

// Stored only: it has no effect at present.
struct CursorState {
    CursorType type = CursorType::default_;
    bool operator==(const CursorState&) const = default;
};

struct ContentProtectedState {
    bool isEnabled = true;
    bool operator==(const ContentProtectedState&) const = default;
};

// The switches of the settings page, and the cursor.
struct CustomizableState {
    AppIconState appIcon;
    AlwaysOnTopState alwaysOnTop;
    AutostartState autostart;
    CursorState cursor;
    ContentProtectedState contentProtected;

    bool operator==(const CustomizableState&) const = default;
    static CustomizableState fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

struct ScreenshotConfig {
    ScreenshotMode mode = ScreenshotMode::manual;
    QString autoPrompt = QStringLiteral("Describe this screenshot");
    bool enabled = true;

    bool operator==(const ScreenshotConfig&) const = default;
    static ScreenshotConfig fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

struct ResponseSettings {
    bool autoScroll = true;

    bool operator==(const ResponseSettings&) const = default;
    static ResponseSettings fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

// The ids of the devices chosen on the audio page; nullopt means the default device.
struct SelectedAudioDevices {
    std::optional<QString> input;
    std::optional<QString> output;

    bool operator==(const SelectedAudioDevices&) const = default;
    static SelectedAudioDevices fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

} // namespace corvane
