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

// Looks for new releases of the program in a feed, at intervals and on request, and guides the user from
// there to the installed package. Main thread.
//
// An update is a signed Debian package. The program keeps the rights of its user: the installer asks for the
// administrator's consent.
class SPUUpdater : public QObject {
    Q_OBJECT

public:
    // What the updater works with. The referenced objects must outlive it.
    struct Dependencies {
        std::function<std::unique_ptr<HttpClient>()> makeHttp; // sessions without cookies
        DefaultsStore& defaults;
        Clock& clock;
        std::shared_ptr<PackageInstaller> installer;
        QString packageName; // the program's own
        QString folder;      // for packages; used by the updater only
    };

    SPUUpdater(const ApplicationInfo& hostBundle, SPUStandardUserDriver& userDriver,
               SPUUpdaterDelegate& delegate, Dependencies dependencies);
    ~SPUUpdater() override;

    void setUpdateCheckInterval(std::chrono::seconds interval) { m_interval = interval; }
    // Starts checking at the interval, which is counted across restarts of the program. Does nothing without
    // a feed. Throws UpdateError if this installation cannot be updated.
    void startUpdater();
    // Checks at the user's request and shows every outcome. Brings a check or an update that is under way to
    // the front.
    void checkForUpdates();
    // Answers restartRequested(): the program cannot restart now, for this reason.
    void refuseRestart(const QString& reason);

Q_SIGNALS:
    // The user wants the program to restart.
    void restartRequested();

private:
    // The step that an update has reached.
    enum class Step {
        idle,
        checkingAutomatically,
        checking,
        upToDate,
        found,
        downloading,
        ready,
        readyChecking, // ready, while the feed is checked again
        postponed,     // ready, but the user has put it off
        postponedChecking,
        verifying, // once more, before it is handed to the installer
        installing,
        installed,
        restartPostponed,
        failed,
    };
    // What happens to an update. Of the outcomes of a check, `otherFound` is a release other than the one
    // that is ready, and `declinedFound` is one that the user has put off.
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

    // The only function that changes the step. Events that the table does not list are ignored.
    void handle(Event event);
    void showStep(bool automatic);

    // The actions of the table.
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
    std::shared_ptr<HttpClient> m_feedHttp;     // of the current check
    std::optional<AppcastItem> m_found;         // the result of the last check
    std::optional<AppcastItem> m_item;          // offered, being fetched or ready
    std::shared_ptr<UpdateDownload> m_download; // the current one
    std::shared_ptr<UpdatePackage> m_package;
    std::optional<UpdateError> m_failure; // the last one
    QString m_refusal;                    // why a restart was refused
    std::unique_ptr<Timer> m_timer;
};

} // namespace platform
