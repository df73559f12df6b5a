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

// The user's settings in memory. They are read when it is created and written at each change. Main thread.
class SettingsViewModel : public QObject {
    Q_OBJECT

public:
    // What the settings are stored in and act on.
    struct Dependencies {
        platform::DefaultsStore& defaults;
        platform::Appearance& appearance;
        platform::LoginItem& loginItem;
        ApplicationWindows& windows;
    };

    SettingsViewModel(DatabaseService& database, KeychainService& keychain, Dependencies dependencies);

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
    // Returns the setting as it is in the store at present. It counts as enabled when there is no entry.
    static bool isCorvaneApiEnabled(const platform::DefaultsStore& defaults);
    const QList<SystemPrompt>& systemPrompts() const { return m_systemPrompts; }
    const std::optional<qint64>& selectedSystemPromptId() const { return m_selectedSystemPromptId; }
    const QString& systemPromptText() const { return m_systemPromptText; }
    const QList<CustomAIProvider>& customAiProviders() const { return m_customAiProviders; }
    const std::optional<SelectedProvider>& selectedAIProvider() const { return m_selectedAIProvider; }
    const QList<CustomSTTProvider>& customSttProviders() const { return m_customSttProviders; }
    const std::optional<SelectedProvider>& selectedSttProvider() const { return m_selectedSttProvider; }
    const SelectedAudioDevices& selectedAudioDevices() const { return m_selectedAudioDevices; }
    // Changed in memory only; saveAudioDevices() stores it.
    void setSelectedAudioDevices(const SelectedAudioDevices& devices);

    void saveTheme();
    void saveCustomizable();
    void saveScreenshotConfig();
    void saveResponseSettings();
    void saveAudioDevices();

    // Each of these inverts its switch, stores it, and applies it.
    void toggleAppIconVisibility();
    void toggleAlwaysOnTop();
    void toggleContentProtected();
    // A refusal by the desktop is printed and returned by autostartError(); the switch keeps its new state.
    void toggleAutostart();
    // Returns an empty text when the desktop has done what the switch says.
    QString autostartError() const { return m_autostartError; }
    // Stores the type, which has no effect at present.
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
    Dependencies m_dependencies;
};

} // namespace corvane
