#include "Platform/Update/SPUUpdater.h"

#include "Platform/Core/Tasks.h"
#include "Platform/Update/UpdateAddress.h"

#include <QSysInfo>

namespace platform {

using namespace std::chrono_literals;
using Stage = SPUStandardUserDriver::Stage;

namespace {

constexpr auto feedTimeout = 30s;
constexpr qint64 largestFeed = 1024 * 1024; // bytes
// The start of the program is over by then.
constexpr auto firstDelay = 60s;
// A timer does not count the time that the machine sleeps, and a check that failed is worth another.
constexpr std::chrono::milliseconds longestWait = 1h;

const auto lastCheckKey = QStringLiteral("SULastCheckTime");         // ms since the Unix epoch
const auto declinedVersionKey = QStringLiteral("SUDeclinedVersion"); // the user said "later"

} // namespace

SPUUpdater::SPUUpdater(const ApplicationInfo& hostBundle, SPUStandardUserDriver& userDriver,
                       SPUUpdaterDelegate& delegate, Surroundings surroundings)
    : m_hostBundle(hostBundle)
    , m_userDriver(userDriver)
    , m_delegate(delegate)
    , m_surroundings(std::move(surroundings)) {
    connect(&userDriver, &SPUStandardUserDriver::chosen, this, &SPUUpdater::choose);
    connect(&userDriver, &SPUStandardUserDriver::dismissed, this, &SPUUpdater::dismiss);
}

SPUUpdater::~SPUUpdater() {
    if (m_download) {
        m_download->cancel();
    }
}

QUrl SPUUpdater::feedAddress() const {
    const auto text = m_delegate.feedURLString(*this);
    if (text.isEmpty()) {
        throw UpdateError(
            UpdateError::invalidFeedAddress,
            QStringLiteral("This installation names no update feed (SUFeedURL). Get new versions "
                           "from where you got this one."));
    }
    const QUrl address(text, QUrl::StrictMode);
    requireHttps(address, QStringLiteral("The update feed"));
    return address;
}

UpdateKey SPUUpdater::publicKey() const {
    return UpdateKey(m_hostBundle.string(QStringLiteral("SUPublicEDKey")).value_or(QString()));
}

UpdateHost SPUUpdater::host() const {
    const auto value = [this](const char* key) {
        return m_hostBundle.string(QLatin1String(key)).value_or(QString());
    };
    return {value("CFBundleVersion"), value("CFBundleShortVersionString"), QSysInfo::kernelVersion()};
}

void SPUUpdater::startUpdater() {
    feedAddress();
    publicKey();
    schedule(firstDelay);
}

// A last check in the future was written under a clock that was wrong.
std::chrono::milliseconds SPUUpdater::untilDue() const {
    const auto last = m_surroundings.defaults.integer(lastCheckKey);
    const auto passed = m_surroundings.clock.nowMilliseconds() - last.value_or(0);
    return !last || passed < 0 ? 0ms : m_interval - std::chrono::milliseconds(passed);
}

void SPUUpdater::schedule(std::chrono::milliseconds atLeast) {
    m_timer =
        m_surroundings.clock.once(std::clamp(untilDue(), atLeast, longestWait), [this] { checkIfDue(); });
}

void SPUUpdater::checkIfDue() {
    if (m_phase == Phase::idle && untilDue() <= 0ms) {
        startTask(check(), "update check");
    } else {
        schedule(1s);
    }
}

void SPUUpdater::checkForUpdates() {
    switch (m_phase) {
    case Phase::idle:
        m_isAsked = true;
        m_userDriver.show(Stage::checking);
        startTask(check(), "update check");
        break;
    case Phase::checking:
        m_isAsked = true;
        m_userDriver.show(Stage::checking);
        break;
    case Phase::downloading:
        m_userDriver.bringForward();
        break;
    case Phase::ready:
        if (m_userDriver.stage() == Stage::hidden) {
            m_userDriver.show(Stage::ready);
        }
        m_userDriver.bringForward();
        break;
    }
}

QCoro::Task<void> SPUUpdater::check() {
    const QPointer<SPUUpdater> self(this);
    m_phase = Phase::checking;
    m_delegate.updaterWillCheckForUpdates(*this);
    std::optional<AppcastItem> item;
    std::optional<UpdateError> failure;
    try {
        item = co_await lookUp();
    } catch (const UpdateError& error) {
        failure = error;
    } catch (const HttpError& error) {
        failure.emplace(UpdateError::feedNotFetched, errorText(error));
    }
    if (!self) {
        co_return;
    }
    m_feedHttp.reset();
    m_phase = Phase::idle;
    if (failure) {
        abort(*failure);
    } else {
        m_surroundings.defaults.setInteger(lastCheckKey, m_surroundings.clock.nowMilliseconds());
        concludeCheck(item);
    }
    m_isAsked = false;
    schedule(longestWait);
}

QCoro::Task<std::optional<AppcastItem>> SPUUpdater::lookUp() {
    RedirectTrail trail(feedAddress(), QStringLiteral("The update feed"));
    publicKey();
    const auto running = host();
    m_feedHttp = m_surroundings.makeHttp();
    HttpResponse response;
    do {
        HttpRequest request{.method = "GET",
                            .url = trail.address(),
                            .headers = {{"Accept", "application/rss+xml, application/xml"}},
                            .body = {},
                            .timeout = feedTimeout,
                            .maxBodyBytes = largestFeed};
        auto answer = m_feedHttp->execute(std::move(request));
        response = co_await std::move(answer);
        if (isRedirect(response)) {
            trail.follow(response);
        }
    } while (isRedirect(response));
    if (response.status != 200) {
        throw UpdateError(UpdateError::feedNotFetched,
                          QStringLiteral("The update server answered with status %1. Check again later.")
                              .arg(response.status));
    }
    const auto found = bestUpdate(readAppcast(response.body), running);
    if (found) {
        requireHttps(found->url, QStringLiteral("The update"));
        if (found->signature.isEmpty() || found->contentLength <= 0) {
            throw UpdateError(
                UpdateError::badSignature,
                QStringLiteral("The update to %1 is not signed, so it was not fetched. Tell who "
                               "runs the update server.")
                    .arg(found->displayVersionString));
        }
    }
    co_return found;
}

void SPUUpdater::concludeCheck(const std::optional<AppcastItem>& item) {
    if (item) {
        offer(*item);
        return;
    }
    // What an update that is installed by now has left.
    UpdateDownload::removeAll(m_surroundings.folder);
    m_delegate.updaterDidNotFindUpdate(*this);
    m_delegate.updaterDidAbortWithError(
        *this, UpdateError(UpdateError::noUpdate, QStringLiteral("You have the newest version.")));
    if (m_isAsked) {
        m_userDriver.show(Stage::upToDate);
    }
}

// A release that the user has put off is not shown again unasked.
void SPUUpdater::offer(const AppcastItem& item) {
    m_item = item;
    m_delegate.updaterDidFindValidUpdate(*this, item);
    if (m_isAsked || m_surroundings.defaults.string(declinedVersionKey) != item.versionString) {
        m_userDriver.showFound(item, !m_isAsked);
    }
}

// What goes wrong in a check that nobody asked for opens no window.
void SPUUpdater::abort(const UpdateError& error) {
    const bool isWatched = m_isAsked || m_phase != Phase::idle;
    m_phase = Phase::idle;
    m_delegate.updaterDidAbortWithError(*this, error);
    if (isWatched) {
        m_userDriver.show(Stage::failed, error.localizedDescription());
    }
}

QCoro::Task<void> SPUUpdater::download() {
    const QPointer<SPUUpdater> self(this);
    const auto item = *m_item;
    m_phase = Phase::downloading;
    std::optional<UpdateError> failure;
    auto running = m_download =
        std::make_shared<UpdateDownload>(item, publicKey(), m_surroundings.folder, m_surroundings.makeHttp());
    connect(running.get(), &UpdateDownload::progressed, &m_userDriver, &SPUStandardUserDriver::showProgress);
    m_userDriver.show(Stage::downloading);
    m_delegate.updaterWillDownloadUpdate(*this, item,
                                         {.method = "GET", .url = item.url, .headers = {}, .body = {}});
    QString package;
    try {
        package = co_await running->run();
    } catch (const UpdateError& error) {
        failure = error;
    }
    if (!self) {
        co_return;
    }
    if (!failure) {
        m_package = package;
        m_phase = Phase::ready;
        m_delegate.updaterDidDownloadUpdate(*this, item);
        m_userDriver.show(Stage::ready);
    } else if (failure->code() == UpdateError::cancelled) {
        // It is still there to be had.
        m_phase = Phase::idle;
        m_delegate.updaterDidFindValidUpdate(*this, item);
    } else {
        abort(*failure);
    }
}

// Verified once more: it may have lain there for days.
QCoro::Task<void> SPUUpdater::install() {
    const QPointer<SPUUpdater> self(this);
    const auto running = m_download;
    std::optional<UpdateError> failure;
    try {
        co_await running->verify(m_package);
    } catch (const UpdateError& error) {
        failure = error;
    }
    if (!self) {
        co_return;
    }
    if (!failure && !m_surroundings.access.open(QUrl::fromLocalFile(m_package).toString())) {
        failure.emplace(UpdateError::installationFailed,
                        QStringLiteral("Nothing on this desktop installs packages. In a terminal, run: "
                                       "sudo apt install %1")
                            .arg(m_package));
    }
    if (failure) {
        abort(*failure);
    } else {
        m_userDriver.show(Stage::handedOver, m_package);
    }
}

void SPUUpdater::choose(Stage stage) {
    if (stage == Stage::failed || stage == Stage::upToDate) {
        checkForUpdates();
    } else if (stage == Stage::found && m_surroundings.runsAsRoot) {
        m_phase = Phase::downloading;
        abort({UpdateError::installationFailed,
               QStringLiteral("The program runs as the administrator and installs nothing then. Start it as "
                              "yourself and check again.")});
    } else if (stage == Stage::found) {
        startTask(download(), "update download");
    } else if (stage == Stage::ready) {
        startTask(install(), "update installation");
    } else if (stage == Stage::handedOver) {
        Q_EMIT restartRequested();
    }
}

void SPUUpdater::dismiss(Stage stage) {
    if (stage == Stage::found) {
        m_surroundings.defaults.setString(declinedVersionKey, m_item->versionString);
    } else if (stage == Stage::checking) {
        m_isAsked = false;
    } else if (stage == Stage::downloading) {
        m_download->cancel();
    }
}

} // namespace platform
