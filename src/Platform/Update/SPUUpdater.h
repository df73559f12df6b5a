#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Desktop/ApplicationInfo.h"
#include "Platform/Desktop/SystemAccess.h"
#include "Platform/Storage/DefaultsStore.h"
#include "Platform/Update/SPUStandardUserDriver.h"
#include "Platform/Update/SPUUpdaterDelegate.h"
#include "Platform/Update/UpdateDownload.h"

#include <QPointer>

namespace platform {

// Looks for a new release of the program in a feed, at intervals and when asked, and takes the user from
// there to the package installer of the desktop. Main thread.
//
// An update is a signed Debian package. The program runs as its user and stays so: it hands the package, once
// verified, to whatever the desktop installs packages with, which asks for the administrator's consent
// itself.
class SPUUpdater : public QObject {
    Q_OBJECT

public:
    // What it works with. All but the folder outlive it.
    struct Surroundings {
        std::function<std::unique_ptr<HttpClient>()> makeHttp; // sessions without cookies
        DefaultsStore& defaults;
        Clock& clock;
        SystemAccess& access;
        QString folder; // for packages; the updater's alone
        bool runsAsRoot = false;
    };

    SPUUpdater(const ApplicationInfo& hostBundle, SPUStandardUserDriver& userDriver,
               SPUUpdaterDelegate& delegate, Surroundings surroundings);
    ~SPUUpdater() override;

    void setUpdateCheckInterval(std::chrono::seconds interval) { m_interval = interval; }
    // From now on it checks at the interval, counted over restarts of the program. Throws UpdateError for an
    // installation that cannot be updated.
    void startUpdater();
    // At the user's wish: each outcome is shown. Brings forward what is already under way.
    void checkForUpdates();

Q_SIGNALS:
    // The user wants the program to end and to start anew.
    void restartRequested();

private:
    enum class Phase { idle, checking, downloading, ready };

    QUrl feedAddress() const;
    UpdateKey publicKey() const;
    UpdateHost host() const;
    std::chrono::milliseconds untilDue() const;
    void schedule(std::chrono::milliseconds atLeast);
    void checkIfDue();
    QCoro::Task<void> check();
    QCoro::Task<std::optional<AppcastItem>> lookUp();
    void concludeCheck(const std::optional<AppcastItem>& item);
    void offer(const AppcastItem& item);
    QCoro::Task<void> download();
    QCoro::Task<void> install();
    void abort(const UpdateError& error);
    void choose(SPUStandardUserDriver::Stage stage);
    void dismiss(SPUStandardUserDriver::Stage stage);

    const ApplicationInfo m_hostBundle;
    SPUStandardUserDriver& m_userDriver;
    SPUUpdaterDelegate& m_delegate;
    const Surroundings m_surroundings;
    std::chrono::seconds m_interval{24 * 60 * 60};
    Phase m_phase = Phase::idle;
    bool m_isAsked = false; // this check is at the user's wish
    std::unique_ptr<HttpClient> m_feedHttp;
    std::optional<AppcastItem> m_item;
    std::shared_ptr<UpdateDownload> m_download;
    QString m_package;
    std::unique_ptr<Timer> m_timer;
};

} // namespace platform
