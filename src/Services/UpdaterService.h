#pragma once

#include "Platform/Update/SPUUpdater.h"

#include <QObject>

#include <memory>

namespace corvane {

// What is known about an update of the program.
struct UpdateState {
    enum class Case { available, downloading, error, idle, checking, readyToInstall, upToDate };

    Case kind = Case::idle;
    QString version = {}; // of available
    QString notes = {};   // of available; empty without any
    double progress = 0;  // of downloading
    QString error = {};   // of error: a sentence for the user

    bool operator==(const UpdateState&) const = default;
};

// Runs the updater and turns what it tells its delegate into one state. The state changes on the main queue.
class UpdaterService : public QObject, public platform::SPUUpdaterDelegate {
    Q_OBJECT
    Q_PROPERTY(UpdateState state READ state NOTIFY stateChanged)

public:
    // Idle. The surroundings outlive the service.
    UpdaterService(platform::ApplicationInfo mainBundle, platform::SPUUpdater::Dependencies surroundings);
    ~UpdaterService() override;

    const UpdateState& state() const { return m_state; }
    // Null before startUpdater().
    platform::SPUUpdater* updater() const { return m_updater.get(); }
    platform::SPUStandardUserDriver* userDriver() const { return m_userDriver.get(); }

    // Once, at launch. A failure becomes the state.
    void startUpdater();
    // Whether this installation names a feed at all. Without one it never looks for updates.
    bool hasFeed() const;
    // Asks for a check, which leads the user on from there. Nothing before startUpdater().
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
    const platform::SPUUpdater::Dependencies m_surroundings;
    UpdateState m_state;
    std::unique_ptr<platform::SPUStandardUserDriver> m_userDriver;
    std::unique_ptr<platform::SPUUpdater> m_updater;
};

} // namespace corvane
