#pragma once

#include <QObject>
#include <QStringList>
#include <qqmlregistration.h>

#include <memory>

namespace platform {
class SystemAccess;
}

namespace corvane {

class SettingsViewModel;
struct CustomAIProvider;

// The settings page: theme, transparency and the four switches.
class AppSettingsPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the dashboard")
    Q_PROPERTY(QStringList themes READ themes CONSTANT)
    Q_PROPERTY(int theme READ theme NOTIFY themeChanged)
    Q_PROPERTY(double transparency READ transparency WRITE setTransparency NOTIFY transparencyChanged)
    Q_PROPERTY(QString transparencyText READ transparencyText NOTIFY transparencyChanged)
    Q_PROPERTY(bool showsDockIcon READ showsDockIcon NOTIFY switchesChanged)
    Q_PROPERTY(bool alwaysOnTop READ alwaysOnTop NOTIFY switchesChanged)
    Q_PROPERTY(bool contentProtection READ contentProtection NOTIFY switchesChanged)
    Q_PROPERTY(bool launchesAtLogin READ launchesAtLogin NOTIFY switchesChanged)
    Q_PROPERTY(QString launchNote READ launchNote NOTIFY switchesChanged)
    Q_PROPERTY(QString answerSource READ answerSource NOTIFY answerSourceChanged)
    Q_PROPERTY(QString answerSourceNote READ answerSourceNote NOTIFY answerSourceChanged)
    Q_PROPERTY(QObject* updater READ updater CONSTANT)
    Q_PROPERTY(QString contentProtectionNote READ contentProtectionNote CONSTANT)

public:
    AppSettingsPresenter(SettingsViewModel& settings, const platform::SystemAccess& access);

    QStringList themes() const;
    int theme() const; // an index into themes()
    Q_INVOKABLE void pickTheme(int index);
    double transparency() const; // %
    void setTransparency(double percent);
    QString transparencyText() const;

    bool showsDockIcon() const;
    bool alwaysOnTop() const;
    bool contentProtection() const;
    bool launchesAtLogin() const;
    // Returns why the desktop does not do what the switch says, or an empty text when it does.
    QString launchNote() const;
    Q_INVOKABLE void toggleDockIcon();
    Q_INVOKABLE void toggleAlwaysOnTop();
    Q_INVOKABLE void toggleContentProtection();
    Q_INVOKABLE void toggleLaunchAtLogin();
    // Returns the name of what answers chat messages: the backend, or the provider in the user's settings
    // file.
    QString answerSource() const;
    // Returns what to do when there is nothing that can answer, or an empty text.
    QString answerSourceNote() const;
    // Returns what the switch cannot do on this desktop, or an empty text when it works in full. Users must
    // not believe that they are hidden when they are not.
    QString contentProtectionNote() const;
    // Returns the presenter of the updater's card, or null in a build without the updater.
    QObject* updater() const { return m_updater.get(); }
    void setUpdater(std::unique_ptr<QObject> presenter) { m_updater = std::move(presenter); }

Q_SIGNALS:
    void themeChanged();
    void transparencyChanged();
    void switchesChanged();
    void answerSourceChanged();

private:
    const CustomAIProvider* chosenProvider() const;

    SettingsViewModel& m_settings;
    const platform::SystemAccess& m_access;
    std::unique_ptr<QObject> m_updater;
};

} // namespace corvane
