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

// The dashboard: its pages, and which of them is open. The sign-in card is shown instead while nobody is
// signed in. Main thread.
class DashboardPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed to the dashboard's window")
    Q_PROPERTY(corvane::AuthGatePresenter* gate READ gate CONSTANT)
    Q_PROPERTY(corvane::AppSettingsPresenter* settings READ settings CONSTANT)
    Q_PROPERTY(corvane::AudioSettingsPresenter* audio READ audio CONSTANT)
    Q_PROPERTY(corvane::CorvaneSetupPresenter* setup READ setup CONSTANT)
    Q_PROPERTY(corvane::ShortcutsPresenter* shortcuts READ shortcuts CONSTANT)
    // A map {title, symbol, view} for each row of the sidebar.
    Q_PROPERTY(QVariantList pages READ pages CONSTANT)
    Q_PROPERTY(int selectedPage READ selectedPage WRITE selectPage NOTIFY selectedPageChanged)
    Q_PROPERTY(QString version READ version CONSTANT)
    // The scroll position of the open page, which is kept here because the window destroys its views while it
    // is hidden.
    Q_PROPERTY(double scrollPosition MEMBER m_scrollPosition)

public:
    struct Pages {
        std::unique_ptr<AuthGatePresenter> gate;
        std::unique_ptr<AppSettingsPresenter> settings;
        std::unique_ptr<AudioSettingsPresenter> audio;
        std::unique_ptr<CorvaneSetupPresenter> setup;
        std::unique_ptr<ShortcutsPresenter> shortcuts;
    };

    // `appVersion` is nullopt when the installation has no version.
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

    // Called when the view of the selected page is created: either the page has just been selected, or the
    // window was hidden with it and is shown again. In the second case the page keeps its state.
    Q_INVOKABLE void pageOpens();
    // Opens the page on which the user can sign out and in again.
    Q_INVOKABLE void showAccount();
    // Quits at once, without asking.
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
