#include "ViewModels/SettingsViewModel.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Platform/Desktop/Appearance.h"
#include "Platform/Desktop/LoginItem.h"
#include "Platform/Storage/DefaultsStore.h"
#include "Services/DatabaseService.h"
#include "ViewModels/ApplicationWindows.h"

#include <boost/json/array.hpp>

namespace corvane {

namespace {

QString name(const char* key) {
    return QLatin1String(key);
}

// Returns nullopt for an entry that cannot be read in full. The entry is left as it is until it is saved
// again.
template<typename Value, typename Decode>
std::optional<Value> entry(const platform::DefaultsStore& defaults, const char* key, Decode decode) {
    const auto bytes = defaults.data(name(key));
    if (!bytes) {
        return std::nullopt;
    }
    try {
        return decode(json::parse(*bytes));
    } catch (const json::DecodingError&) {
        return std::nullopt;
    }
}

template<typename Record>
std::optional<Record> record(const platform::DefaultsStore& defaults, const char* key) {
    return entry<Record>(defaults, key,
                         [](const boost::json::value& value) { return Record::fromJson(value); });
}

// Returns an empty list when any element is invalid.
template<typename Record>
QList<Record> records(const platform::DefaultsStore& defaults, const char* key) {
    const auto decode = [](const boost::json::value& value) {
        QList<Record> list;
        for (const auto& element : json::asArray(value)) {
            list.append(Record::fromJson(element));
        }
        return list;
    };
    return entry<QList<Record>>(defaults, key, decode).value_or(QList<Record>());
}

} // namespace

SettingsViewModel::SettingsViewModel(DatabaseService& database, KeychainService& keychain,
                                     Dependencies dependencies)
    : m_database(database)
    , m_keychain(keychain)
    , m_dependencies(dependencies) {
    load();
}

void SettingsViewModel::load() {
    const auto& defaults = m_dependencies.defaults;
    m_theme = appTheme(defaults.string(name("theme")).value_or(rawValue(AppTheme::system)))
                  .value_or(AppTheme::system);
    // A value of 0 counts as absent: a missing entry and an entry of 0 cannot be told apart.
    const auto transparency = defaults.real(name("transparency")).value_or(0.0);
    m_transparency = transparency == 0.0 ? 100.0 : transparency;
    m_corvaneApiEnabled = isCorvaneApiEnabled(defaults);
    m_systemPromptText = defaults.string(name("system_prompt")).value_or(QString());
    m_selectedSystemPromptId = defaults.integer(name("selected_system_prompt_id"));
    if (m_selectedSystemPromptId < 1) {
        m_selectedSystemPromptId.reset();
    }
    m_customizable = record<CustomizableState>(defaults, "customizable").value_or(CustomizableState());
    m_screenshotConfig = record<ScreenshotConfig>(defaults, "screenshot_config").value_or(ScreenshotConfig());
    m_responseSettings = record<ResponseSettings>(defaults, "response_settings").value_or(ResponseSettings());
    m_customAiProviders = records<CustomAIProvider>(defaults, "custom_ai_providers");
    m_selectedAIProvider = record<SelectedProvider>(defaults, "selected_ai_provider");
    m_customSttProviders = records<CustomSTTProvider>(defaults, "custom_stt_providers");
    m_selectedSttProvider = record<SelectedProvider>(defaults, "selected_stt_provider");
    m_selectedAudioDevices =
        record<SelectedAudioDevices>(defaults, "selected_audio_devices").value_or(SelectedAudioDevices());
    m_systemPrompts = m_database.getAllSystemPrompts();
}

bool SettingsViewModel::isCorvaneApiEnabled(const platform::DefaultsStore& defaults) {
    const auto key = name("corvane_api_enabled");
    return !defaults.contains(key) || defaults.boolean(key).value_or(false);
}

void SettingsViewModel::setTheme(AppTheme theme) {
    const bool changed = std::exchange(m_theme, theme) != theme;
    // The theme is applied even when it is the same: a stored theme takes effect only when the user picks it.
    saveTheme();
    if (changed) {
        Q_EMIT themeChanged();
    }
}

void SettingsViewModel::setTransparency(double percent) {
    if (std::exchange(m_transparency, percent) != percent) {
        m_dependencies.defaults.setDouble(name("transparency"), percent);
        Q_EMIT transparencyChanged();
    }
}

void SettingsViewModel::setScreenshotConfig(const ScreenshotConfig& config) {
    m_screenshotConfig = config;
    saveScreenshotConfig();
    Q_EMIT screenshotConfigChanged();
}

void SettingsViewModel::setResponseSettings(const ResponseSettings& settings) {
    m_responseSettings = settings;
    saveResponseSettings();
    Q_EMIT responseSettingsChanged();
}

void SettingsViewModel::setCorvaneApiEnabled(bool enabled) {
    m_corvaneApiEnabled = enabled;
    m_dependencies.defaults.setBool(name("corvane_api_enabled"), enabled);
    Q_EMIT corvaneApiEnabledChanged();
}

void SettingsViewModel::setSelectedAudioDevices(const SelectedAudioDevices& devices) {
    if (m_selectedAudioDevices != devices) {
        m_selectedAudioDevices = devices;
        Q_EMIT selectedAudioDevicesChanged();
    }
}

void SettingsViewModel::saveTheme() {
    m_dependencies.defaults.setString(name("theme"), rawValue(m_theme));
    switch (m_theme) {
    case AppTheme::light:
        m_dependencies.appearance.pick(platform::ColorScheme::light);
        break;
    case AppTheme::dark:
        m_dependencies.appearance.pick(platform::ColorScheme::dark);
        break;
    case AppTheme::system:
        m_dependencies.appearance.pick(std::nullopt);
        break;
    }
}

template<typename Record>
void SettingsViewModel::save(const char* key, const Record& record) {
    m_dependencies.defaults.setData(name(key), json::serialize(record.toJson()));
}

void SettingsViewModel::saveCustomizable() {
    save("customizable", m_customizable);
}

void SettingsViewModel::saveScreenshotConfig() {
    save("screenshot_config", m_screenshotConfig);
}

void SettingsViewModel::saveResponseSettings() {
    save("response_settings", m_responseSettings);
}

void SettingsViewModel::saveAudioDevices() {
    save("selected_audio_devices", m_selectedAudioDevices);
}

template<typename Change>
void SettingsViewModel::changeSwitch(Change change) {
    change(m_customizable);
    saveCustomizable();
    Q_EMIT customizableChanged();
}

void SettingsViewModel::toggleAppIconVisibility() {
    changeSwitch([](auto& state) { state.appIcon.isVisible = !state.appIcon.isVisible; });
    m_dependencies.windows.setActivationPolicy(
        m_customizable.appIcon.isVisible ? ActivationPolicy::regular : ActivationPolicy::accessory);
}

void SettingsViewModel::toggleAlwaysOnTop() {
    changeSwitch([](auto& state) { state.alwaysOnTop.isEnabled = !state.alwaysOnTop.isEnabled; });
    if (auto* panel = m_dependencies.windows.floatingPanel()) {
        panel->setLevel(m_customizable.alwaysOnTop.isEnabled ? WindowLevel::floating : WindowLevel::normal);
    }
}

void SettingsViewModel::toggleContentProtected() {
    changeSwitch([](auto& state) { state.contentProtected.isEnabled = !state.contentProtected.isEnabled; });
    m_dependencies.windows.setContentProtected(m_customizable.contentProtected.isEnabled);
}

void SettingsViewModel::toggleAutostart() {
    changeSwitch([](auto& state) { state.autostart.isEnabled = !state.autostart.isEnabled; });
    m_autostartError.clear();
    try {
        if (m_customizable.autostart.isEnabled) {
            m_dependencies.loginItem.registerItem();
        } else {
            m_dependencies.loginItem.unregisterItem();
        }
    } catch (const std::exception& error) {
        m_autostartError = platform::errorText(error);
        platform::printLine(QStringLiteral("[Settings] Autostart error: ") + m_autostartError);
    }
    // autostartError() is known only now, so the change is signalled again.
    Q_EMIT customizableChanged();
}

void SettingsViewModel::setCursorType(CursorType type) {
    changeSwitch([type](auto& state) { state.cursor.type = type; });
}

} // namespace corvane
