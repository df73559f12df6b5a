#pragma once

#include "ViewModels/DashboardViewModel.h"
#include "Views/Auth/AuthGatePresenter.h"
#include "Views/Dashboard/AppSettingsPresenter.h"
#include "Views/Dashboard/AudioSettingsPresenter.h"
#include "Views/Dashboard/CorvaneSetupPresenter.h"
#include "Views/Dashboard/ShortcutsPresenter.h"

#include <QVariantList>

namespace corvane {

class ApplicationWindows;
class DashboardViewModel;

// The dashboard: its pages behind the sign-in card, and which of them is open. Main thread.
class DashboardPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed to the dashboard's window")
    Q_PROPERTY(corvane::AuthGatePresenter* gate READ gate CONSTANT)
    Q_PROPERTY(corvane::AppSettingsPresenter* settings READ settings CONSTANT)
    Q_PROPERTY(corvane::AudioSettingsPresenter* audio READ audio CONSTANT)
    Q_PROPERTY(corvane::CorvaneSetupPresenter* setup READ setup CONSTANT)
    Q_PROPERTY(corvane::ShortcutsPresenter* shortcuts READ shortcuts CONSTANT)
    // {title, symbol, view} of each row of the sidebar.
    Q_PROPERTY(QVariantList pages READ pages CONSTANT)
    Q_PROPERTY(int selectedPage READ selectedPage WRITE selectPage NOTIFY selectedPageChanged)
    Q_PROPERTY(QString version READ version CONSTANT)
    // How far the open page is scrolled. The window gives its views back while it is hidden.
    Q_PROPERTY(double scrollPosition MEMBER m_scrollPosition)

public:
    struct Pages {
        std::unique_ptr<AuthGatePresenter> gate;
        std::unique_ptr<AppSettingsPresenter> settings;
        std::unique_ptr<AudioSettingsPresenter> audio;
        std::unique_ptr<CorvaneSetupPresenter> setup;
        std::unique_ptr<ShortcutsPresenter> shortcuts;
    };

    // `appVersion`: nothing when the installation does not say.
    DashboardPresenter(DashboardViewModel& model, Pages pages, ApplicationWindows& windows,
                       const std::optional<QString>& appVersion);

    AuthGatePresenter* gate() const { return m_pages.gate.get(); }
    AppSettingsPresenter* settings() const { return m_pages.settings.get(); }
    AudioSettingsPresenter* audio() const { return m_pages.audio.get(); }
    CorvaneSetupPresenter* setup() const { return m_pages.setup.get(); }
    ShortcutsPresenter* shortcuts() const { return m_pages.shortcuts.get(); }
    QVariantList pages() const;
    int selectedPage() const;
    void selectPage(int row);
    QString version() const { return m_version; }

    // The view of the selected page is made: for a page that has just been chosen, or for one that the window
    // was hidden with, which is as it was then.
    Q_INVOKABLE void pageOpens();
    // The page where one signs out, to sign in again.
    Q_INVOKABLE void showAccount();
    // At once, with no question.
    Q_INVOKABLE void quit();

Q_SIGNALS:
    void selectedPageChanged();

private:
    DashboardViewModel& m_model;
    Pages m_pages;
    ApplicationWindows& m_windows;
    const QString m_version;
    std::optional<DashboardPage> m_openPage;
    double m_scrollPosition = 0;
};

} // namespace corvane
