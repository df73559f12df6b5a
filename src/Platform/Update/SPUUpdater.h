#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Desktop/ApplicationInfo.h"
#include "Platform/Storage/DefaultsStore.h"
#include "Platform/Update/PackageInstaller.h"
#include "Platform/Update/SPUStandardUserDriver.h"
#include "Platform/Update/SPUUpdaterDelegate.h"
#include "Platform/Update/UpdateDownload.h"

#include <QPointer>

namespace platform {

// Looks for a new release of the program in a feed, at intervals and when asked, and takes the user from
// there to the installed package. Main thread.
//
// An update is a signed Debian package. The program runs as its user and stays so: what installs the package
// asks for the administrator's consent.
class SPUUpdater : public QObject {
    Q_OBJECT

public:
    // What it works with. All but the texts outlive it.
    struct Dependencies {
        std::function<std::unique_ptr<HttpClient>()> makeHttp; // sessions without cookies
        DefaultsStore& defaults;
        Clock& clock;
        std::shared_ptr<PackageInstaller> installer;
        QString packageName; // of the program
        QString folder;      // for packages; the updater's alone
    };

    SPUUpdater(const ApplicationInfo& hostBundle, SPUStandardUserDriver& userDriver,
               SPUUpdaterDelegate& delegate, Dependencies dependencies);
    ~SPUUpdater() override;

    void setUpdateCheckInterval(std::chrono::seconds interval) { m_interval = interval; }
    // From now on it checks at the interval, counted over restarts of the program. Without a feed it does
    // nothing. Throws UpdateError for an installation that cannot be updated.
    void startUpdater();
    // At the user's wish: each outcome is shown. Brings forward what is already under way.
    void checkForUpdates();
    // An answer to restartRequested(): not now, and why.
    void refuseRestart(const QString& reason);

Q_SIGNALS:
    // The user wants the program to end and to start again.
    void restartRequested();

private:
    // Where an update is.
    enum class Step {
        idle,
        checkingAutomatically,
        checking,
        upToDate,
        found,
        downloading,
        ready,
        readyChecking, // and the feed is looked at again
        postponed,     // ready, and the user wants nothing of it now
        postponedChecking,
        verifying, // once more, before it is handed to the installer
        installing,
        installed,
        restartPostponed,
        failed,
    };
    // What happens to it. Of what the feed offers, `other` is not the release that is ready, and `declined`
    // is one that the user has put off.
    enum class Event {
        due,
        asked,
        chosen,
        dismissed,
        nothingFound,
        otherFound,
        declinedFound,
        readyFound,
        checkFailed,
        downloaded,
        downloadFailed,
        verified,
        verificationFailed,
        installed,
        installationDeclined,
        installationFailed,
        restartRefused,
    };
    struct Transition;
    struct StageOfStep;
    static const Transition transitions[];
    static const StageOfStep stagesOfSteps[];

    // The only place that changes the step. What the table does not list does not count.
    void handle(Event event);
    void showStep(bool automatic);

    // What the table calls.
    void beginCheck();
    void beginHiddenCheck();
    void reportUpToDate();
    void reportFound();
    void reportFailure();
    void reportWithdrawn();
    void decline();
    void beginDownload();
    void cancelDownload();
    void reportDownloaded();
    void beginVerification();
    void beginInstallation();
    void requestRestart();

    QUrl feedAddress() const;
    UpdateKey publicKey() const;
    UpdateHost host() const;
    PackageClaim claim() const;
    std::chrono::milliseconds untilDue() const;
    void schedule(std::chrono::milliseconds atLeast);
    void checkIfDue();
    QCoro::Task<void> check();
    QCoro::Task<std::optional<AppcastItem>> lookUp(std::shared_ptr<HttpClient> http);
    Event outcomeOf(const std::optional<AppcastItem>& found) const;
    QCoro::Task<void> download();
    QCoro::Task<void> verify();
    QCoro::Task<void> install();
    void fail(Event event, const UpdateError& error);

    const ApplicationInfo m_hostBundle;
    SPUStandardUserDriver& m_userDriver;
    SPUUpdaterDelegate& m_delegate;
    const Dependencies m_dependencies;
    std::chrono::seconds m_interval{24 * 60 * 60};
    Step m_step = Step::idle;
    std::shared_ptr<HttpClient> m_feedHttp;     // of the check that counts
    std::optional<AppcastItem> m_found;         // by the last check
    std::optional<AppcastItem> m_item;          // that is offered, fetched or ready
    std::shared_ptr<UpdateDownload> m_download; // that counts
    std::shared_ptr<UpdatePackage> m_package;
    std::optional<UpdateError> m_failure; // the last one
    QString m_refusal;                    // of a restart
    std::unique_ptr<Timer> m_timer;
};

} // namespace platform
