#pragma once

#include "Platform/Update/SPUUpdater.h"

#include <QObject>

#include <memory>

namespace corvane {

// The state of the search for an update of the program.
struct UpdateState {
    enum class Case { available, downloading, error, idle, checking, readyToInstall, upToDate };

    Case kind = Case::idle;
    QString version = {}; // of available
    QString notes = {};   // of available; empty without any
    double progress = 0;  // of downloading
    QString error = {};   // of error: a sentence for the user

    bool operator==(const UpdateState&) const = default;
};

// Runs the updater and turns its delegate calls into one state. The state changes in queued calls on the main
// thread.
class UpdaterService : public QObject, public platform::SPUUpdaterDelegate {
    Q_OBJECT
    Q_PROPERTY(UpdateState state READ state NOTIFY stateChanged)

public:
    // Starts idle. The references in `dependencies` have to outlive the service.
    UpdaterService(platform::ApplicationInfo mainBundle, platform::SPUUpdater::Dependencies dependencies);
    ~UpdaterService() override;

    const UpdateState& state() const { return m_state; }
    // Both return null before startUpdater().
    platform::SPUUpdater* updater() const { return m_updater.get(); }
    platform::SPUStandardUserDriver* userDriver() const { return m_userDriver.get(); }

    // Called once, at launch. A failure becomes the state.
    void startUpdater();
    // Returns whether this installation names an update feed. Without one the program never looks for
    // updates.
    bool hasFeed() const;
    // Checks for an update, which then leads the user through the next steps. Does nothing before
    // startUpdater().
    void downloadAndInstall();

    QString feedURLString(const platform::SPUUpdater& updater) const override;
    void updaterWillCheckForUpdates(const platform::SPUUpdater& updater) override;
    void updaterDidNotFindUpdate(const platform::SPUUpdater& updater) override;
    void updaterDidFindValidUpdate(const platform::SPUUpdater& updater,
                                   const platform::AppcastItem& item) override;
    void updaterWillDownloadUpdate(const platform::SPUUpdater& updater, const platform::AppcastItem& item,
                                   const platform::HttpRequest& request) override;
    void updaterDidDownloadUpdate(const platform::SPUUpdater& updater,
                                  const platform::AppcastItem& item) override;
    void updaterDidAbortWithError(const platform::SPUUpdater& updater,
                                  const platform::UpdateError& error) override;

Q_SIGNALS:
    void stateChanged();

private:
    void setLater(UpdateState state);

    const platform::ApplicationInfo m_mainBundle;
    const platform::SPUUpdater::Dependencies m_dependencies;
    UpdateState m_state;
    std::unique_ptr<platform::SPUStandardUserDriver> m_userDriver;
    std::unique_ptr<platform::SPUUpdater> m_updater;
};

} // namespace corvane
