#pragma once

#include "Models/ChatModels.h"
#include "Models/ProviderModels.h"
#include "Models/SettingsModels.h"

#include <QObject>

namespace platform {
class Appearance;
class DefaultsStore;
class LoginItem;
} // namespace platform

namespace corvane {

class ApplicationWindows;
class DatabaseService;
class KeychainService;

// The one copy of the user's settings in memory: read when it is built, written at each change. Main thread.
class SettingsViewModel : public QObject {
    Q_OBJECT

public:
    // What of the desktop the settings act on.
    struct Desktop {
        platform::DefaultsStore& defaults;
        platform::Appearance& appearance;
        platform::LoginItem& loginItem;
        ApplicationWindows& windows;
    };

    SettingsViewModel(DatabaseService& database, KeychainService& keychain, Desktop desktop);

    AppTheme theme() const { return m_theme; }
    void setTheme(AppTheme theme);
    double transparency() const { return m_transparency; } // %
    void setTransparency(double percent);
    const CustomizableState& customizable() const { return m_customizable; }
    const ScreenshotConfig& screenshotConfig() const { return m_screenshotConfig; }
    void setScreenshotConfig(const ScreenshotConfig& config);
    const ResponseSettings& responseSettings() const { return m_responseSettings; }
    void setResponseSettings(const ResponseSettings& settings);
    bool corvaneApiEnabled() const { return m_corvaneApiEnabled; }
    void setCorvaneApiEnabled(bool enabled);
    // As the store has it now. Only the entry's absence means that it is enabled.
    static bool isCorvaneApiEnabled(const platform::DefaultsStore& defaults);
    const QList<SystemPrompt>& systemPrompts() const { return m_systemPrompts; }
    const std::optional<qint64>& selectedSystemPromptId() const { return m_selectedSystemPromptId; }
    const QString& systemPromptText() const { return m_systemPromptText; }
    const QList<CustomAIProvider>& customAiProviders() const { return m_customAiProviders; }
    const std::optional<SelectedProvider>& selectedAIProvider() const { return m_selectedAIProvider; }
    const QList<CustomSTTProvider>& customSttProviders() const { return m_customSttProviders; }
    const std::optional<SelectedProvider>& selectedSttProvider() const { return m_selectedSttProvider; }
    const SelectedAudioDevices& selectedAudioDevices() const { return m_selectedAudioDevices; }
    // Kept in memory only until saveAudioDevices().
    void setSelectedAudioDevices(const SelectedAudioDevices& devices);

    void saveTheme();
    void saveCustomizable();
    void saveScreenshotConfig();
    void saveResponseSettings();
    void saveAudioDevices();

    // Each inverts its switch, stores it, and acts on it.
    void toggleAppIconVisibility();
    void toggleAlwaysOnTop();
    void toggleContentProtected();
    // What the desktop refuses is logged and kept as autostartError(); the switch keeps its new state.
    void toggleAutostart();
    // Empty when the desktop has done what the switch says.
    QString autostartError() const { return m_autostartError; }
    // Stored; nothing acts on it.
    void setCursorType(CursorType type);

Q_SIGNALS:
    void themeChanged();
    void transparencyChanged();
    void customizableChanged();
    void screenshotConfigChanged();
    void responseSettingsChanged();
    void corvaneApiEnabledChanged();
    void selectedAudioDevicesChanged();

private:
    void load();
    template<typename Record>
    void save(const char* key, const Record& record);
    template<typename Change>
    void changeSwitch(Change change);

    AppTheme m_theme = AppTheme::system;
    double m_transparency = 100.0;
    CustomizableState m_customizable;
    QString m_autostartError;
    ScreenshotConfig m_screenshotConfig;
    ResponseSettings m_responseSettings;
    bool m_corvaneApiEnabled = true;
    QList<SystemPrompt> m_systemPrompts;
    std::optional<qint64> m_selectedSystemPromptId;
    QString m_systemPromptText;
    QList<CustomAIProvider> m_customAiProviders;
    std::optional<SelectedProvider> m_selectedAIProvider;
    QList<CustomSTTProvider> m_customSttProviders;
    std::optional<SelectedProvider> m_selectedSttProvider;
    SelectedAudioDevices m_selectedAudioDevices;

    DatabaseService& m_database;
    KeychainService& m_keychain;
    Desktop m_desktop;
};

} // namespace corvane
