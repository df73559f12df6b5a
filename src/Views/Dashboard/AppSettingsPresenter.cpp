#include "Views/Dashboard/AppSettingsPresenter.h"

#include "Platform/Desktop/SystemAccess.h"
#include "ViewModels/SettingsViewModel.h"

namespace corvane {

AppSettingsPresenter::AppSettingsPresenter(SettingsViewModel& settings, const platform::SystemAccess& access)
    : m_settings(settings)
    , m_access(access) {
    using Self = AppSettingsPresenter;
    connect(&settings, &SettingsViewModel::themeChanged, this, &Self::themeChanged);
    connect(&settings, &SettingsViewModel::transparencyChanged, this, &Self::transparencyChanged);
    connect(&settings, &SettingsViewModel::customizableChanged, this, &Self::switchesChanged);
    connect(&settings, &SettingsViewModel::corvaneApiEnabledChanged, this, &Self::answerSourceChanged);
}

QStringList AppSettingsPresenter::themes() const {
    QStringList names;
    for (const auto theme : allAppThemes) {
        auto name = rawValue(theme);
        name.front() = name.front().toUpper();
        names.append(name);
    }
    return names;
}

int AppSettingsPresenter::theme() const {
    return static_cast<int>(std::ranges::find(allAppThemes, m_settings.theme()) - allAppThemes.begin());
}

void AppSettingsPresenter::pickTheme(int index) {
    m_settings.setTheme(allAppThemes.at(static_cast<size_t>(index)));
}

double AppSettingsPresenter::transparency() const {
    return m_settings.transparency();
}

void AppSettingsPresenter::setTransparency(double percent) {
    m_settings.setTransparency(percent);
}

QString AppSettingsPresenter::transparencyText() const {
    return QString::number(m_settings.transparency(), 'f', 0) + u'%';
}

bool AppSettingsPresenter::showsDockIcon() const {
    return m_settings.customizable().appIcon.isVisible;
}

bool AppSettingsPresenter::alwaysOnTop() const {
    return m_settings.customizable().alwaysOnTop.isEnabled;
}

bool AppSettingsPresenter::contentProtection() const {
    return m_settings.customizable().contentProtected.isEnabled;
}

bool AppSettingsPresenter::launchesAtLogin() const {
    return m_settings.customizable().autostart.isEnabled;
}

QString AppSettingsPresenter::launchNote() const {
    const auto error = m_settings.autostartError();
    return error.isEmpty()
               ? QString()
               : QStringLiteral(
                     "The desktop’s autostart could not be changed. %1 Make that folder writable, then turn "
                     "this off and on again.")
                     .arg(error.endsWith(u'.') ? error : error + u'.');
}

void AppSettingsPresenter::toggleDockIcon() {
    m_settings.toggleAppIconVisibility();
}

void AppSettingsPresenter::toggleAlwaysOnTop() {
    m_settings.toggleAlwaysOnTop();
}

void AppSettingsPresenter::toggleContentProtection() {
    m_settings.toggleContentProtected();
}

void AppSettingsPresenter::toggleLaunchAtLogin() {
    m_settings.toggleAutostart();
}

const CustomAIProvider* AppSettingsPresenter::chosenProvider() const {
    const auto& selected = m_settings.selectedAIProvider();
    const auto& providers = m_settings.customAiProviders();
    const auto found = std::ranges::find_if(providers, [&selected](const CustomAIProvider& provider) {
        return selected && provider.id == selected->id;
    });
    return found == providers.end() ? nullptr : &*found;
}

QString AppSettingsPresenter::answerSource() const {
    if (m_settings.corvaneApiEnabled()) {
        return QStringLiteral("Corvane");
    }
    const auto* provider = chosenProvider();
    return provider ? provider->name : QStringLiteral("None");
}

QString AppSettingsPresenter::answerSourceNote() const {
    return m_settings.corvaneApiEnabled() || chosenProvider()
               ? QString()
               : QStringLiteral(
                     "The settings file turns Corvane’s answers off and selects no provider that it "
                     "describes in full. Correct it, then start the program again.");
}

QString AppSettingsPresenter::contentProtectionNote() const {
    return m_access.canHideWindowsFromCapture()
               ? QString()
               : QStringLiteral("This desktop cannot hide windows from screen sharing. "
                                "Anyone you share the screen with sees the bar.");
}

} // namespace corvane
