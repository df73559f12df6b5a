#include "Services/UpdaterService.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"

namespace corvane {

using Case = UpdateState::Case;

namespace {

constexpr std::chrono::seconds checkInterval(43200);
const auto feedKey = QStringLiteral("SUFeedURL");

} // namespace

UpdaterService::UpdaterService(platform::ApplicationInfo mainBundle,
                               platform::SPUUpdater::Dependencies dependencies)
    : m_mainBundle(std::move(mainBundle))
    , m_dependencies(std::move(dependencies)) {}

UpdaterService::~UpdaterService() = default;

void UpdaterService::startUpdater() {
    m_userDriver = std::make_unique<platform::SPUStandardUserDriver>();
    m_updater = std::make_unique<platform::SPUUpdater>(m_mainBundle, *m_userDriver, *this, m_dependencies);
    m_updater->setUpdateCheckInterval(checkInterval);
    try {
        m_updater->startUpdater();
    } catch (const platform::UpdateError& error) {
        platform::logLine(QStringLiteral("[Updater] %1").arg(error.localizedDescription()));
        setLater({.kind = Case::error, .error = error.localizedDescription()});
    }
}

bool UpdaterService::hasFeed() const {
    return !m_mainBundle.string(feedKey).value_or(QString()).isEmpty();
}

void UpdaterService::downloadAndInstall() {
    if (m_updater) {
        m_updater->checkForUpdates();
    }
}

void UpdaterService::setLater(UpdateState state) {
    platform::dispatchToMain(this, [this, state = std::move(state)] {
        if (m_state != state) {
            m_state = state;
            Q_EMIT stateChanged();
        }
    });
}

QString UpdaterService::feedURLString(const platform::SPUUpdater&) const {
    return m_mainBundle.string(feedKey).value_or(QString());
}

void UpdaterService::updaterWillCheckForUpdates(const platform::SPUUpdater&) {
    setLater({.kind = Case::checking});
}

void UpdaterService::updaterDidNotFindUpdate(const platform::SPUUpdater&) {
    setLater({.kind = Case::upToDate});
}

void UpdaterService::updaterDidFindValidUpdate(const platform::SPUUpdater&,
                                               const platform::AppcastItem& item) {
    setLater({.kind = Case::available, .version = item.displayVersionString, .notes = item.itemDescription});
}

void UpdaterService::updaterWillDownloadUpdate(const platform::SPUUpdater&, const platform::AppcastItem&,
                                               const platform::HttpRequest&) {
    setLater({.kind = Case::downloading, .progress = 0.0});
}

void UpdaterService::updaterDidDownloadUpdate(const platform::SPUUpdater&, const platform::AppcastItem&) {
    setLater({.kind = Case::readyToInstall});
}

// A check that finds no update may also end with an error.
void UpdaterService::updaterDidAbortWithError(const platform::SPUUpdater&,
                                              const platform::UpdateError& error) {
    const bool foundNothing = error.domain() == QLatin1String(platform::UpdateError::updaterDomain) &&
                              error.code() == platform::UpdateError::noUpdate;
    if (foundNothing) {
        setLater({.kind = Case::upToDate});
        return;
    }
    platform::logLine(QStringLiteral("[Updater] %1").arg(error.localizedDescription()));
    setLater({.kind = Case::error, .error = error.localizedDescription()});
}

} // namespace corvane
