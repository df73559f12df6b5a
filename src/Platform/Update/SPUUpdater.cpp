#include "Platform/Update/SPUUpdater.h"

#include "Platform/Core/Background.h"
#include "Platform/Core/Tasks.h"
#include "Platform/Update/UpdateAddress.h"

#include <QSysInfo>

namespace platform {

using namespace std::chrono_literals;

namespace {

constexpr auto feedTimeout = 30s;
// The program has finished starting by then.
constexpr auto firstDelay = 60s;
// A timer does not count the time that the machine sleeps.
constexpr std::chrono::milliseconds longestWait = 1h;

const auto lastCheckKey = QStringLiteral("SULastCheckTime");         // ms since the Unix epoch
const auto declinedVersionKey = QStringLiteral("SUDeclinedVersion"); // the version that the user put off

void requireFetchable(const AppcastItem& item) {
    requireHttps(item.url, QStringLiteral("The update"));
    if (item.signature.isEmpty() || item.contentLength <= 0) {
        throw UpdateError(UpdateError::badSignature,
                          QStringLiteral("The update to %1 is not signed, so it was not fetched. Contact the "
                                         "administrator of the update server.")
                              .arg(item.displayVersionString));
    }
    if (item.contentLength > appcast::largestPackage) {
        throw UpdateError(UpdateError::downloadFailed,
                          QStringLiteral("The update to %1 is larger than allowed, so it was not "
                                         "fetched. Contact the administrator of the update server.")
                              .arg(item.displayVersionString));
    }
}

} // namespace

SPUUpdater::SPUUpdater(const ApplicationInfo& hostBundle, SPUStandardUserDriver& userDriver,
                       SPUUpdaterDelegate& delegate, Dependencies dependencies)
    : m_hostBundle(hostBundle)
    , m_userDriver(userDriver)
    , m_delegate(delegate)
    , m_dependencies(std::move(dependencies)) {
    connect(&userDriver, &SPUStandardUserDriver::chosen, this, [this] { handle(Event::chosen); });
    connect(&userDriver, &SPUStandardUserDriver::dismissed, this, [this] { handle(Event::dismissed); });
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
    if (m_delegate.feedURLString(*this).isEmpty()) {
        return;
    }
    feedAddress();
    publicKey();
    schedule(firstDelay);
}

// A last check in the future was recorded while the clock was wrong.
std::chrono::milliseconds SPUUpdater::untilDue() const {
    const auto last = m_dependencies.defaults.integer(lastCheckKey);
    const auto passed = m_dependencies.clock.nowMilliseconds() - last.value_or(0);
    return !last || passed < 0 ? 0ms : m_interval - std::chrono::milliseconds(passed);
}

void SPUUpdater::schedule(std::chrono::milliseconds atLeast) {
    m_timer =
        m_dependencies.clock.once(std::clamp(untilDue(), atLeast, longestWait), [this] { checkIfDue(); });
}

// A check that is due but cannot run now is tried again in an hour.
void SPUUpdater::checkIfDue() {
    schedule(longestWait);
    if (untilDue() <= 0ms) {
        handle(Event::due);
    }
}

// This version is not shown again unless the user asks.
void SPUUpdater::decline() {
    m_dependencies.defaults.setString(declinedVersionKey, m_item->versionString);
}

void SPUUpdater::checkForUpdates() {
    handle(Event::asked);
}

void SPUUpdater::refuseRestart(const QString& reason) {
    m_refusal = reason;
    handle(Event::restartRefused);
}

void SPUUpdater::fail(Event event, const UpdateError& error) {
    m_failure = error;
    handle(event);
}

QCoro::Task<void> SPUUpdater::check() {
    const QPointer<SPUUpdater> self(this);
    const std::shared_ptr<HttpClient> http = m_dependencies.makeHttp();
    m_feedHttp = http;
    std::optional<AppcastItem> found;
    std::optional<UpdateError> failure;
    try {
        found = co_await lookUp(http);
    } catch (const UpdateError& error) {
        failure = error;
    } catch (const HttpError& error) {
        failure.emplace(UpdateError::feedNotFetched, errorText(error));
    }
    if (!self || m_feedHttp != http) {
        co_return;
    }
    m_feedHttp.reset();
    m_dependencies.defaults.setInteger(lastCheckKey, m_dependencies.clock.nowMilliseconds());
    schedule(firstDelay);
    if (failure) {
        fail(Event::checkFailed, *failure);
    } else {
        m_found = found;
        handle(outcomeOf(found));
    }
}

QCoro::Task<std::optional<AppcastItem>> SPUUpdater::lookUp(std::shared_ptr<HttpClient> http) {
    RedirectTrail trail(feedAddress(), QStringLiteral("The update feed"));
    publicKey();
    const auto running = host();
    HttpResponse response;
    do {
        HttpRequest request{.method = "GET",
                            .url = trail.address(),
                            .headers = {{"Accept", "application/rss+xml, application/xml"}},
                            .body = {},
                            .timeout = feedTimeout,
                            .maxBodyBytes = appcast::largestFeed};
        auto answer = http->execute(std::move(request));
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
    auto reading =
        inBackground([feed = response.body, running] { return bestUpdate(readAppcast(feed), running); });
    const auto found = co_await std::move(reading);
    if (found) {
        requireFetchable(*found);
    }
    co_return found;
}

SPUUpdater::Event SPUUpdater::outcomeOf(const std::optional<AppcastItem>& found) const {
    if (!found) {
        return Event::nothingFound;
    }
    if (m_package && m_item && found->signature == m_item->signature &&
        found->versionString == m_item->versionString) {
        return Event::readyFound;
    }
    const auto declined = m_dependencies.defaults.string(declinedVersionKey);
    return declined == found->versionString ? Event::declinedFound : Event::otherFound;
}

PackageClaim SPUUpdater::claim() const {
    return {m_item->contentLength, m_item->signature, m_item->displayVersionString,
            m_dependencies.packageName};
}

QCoro::Task<void> SPUUpdater::download() {
    const QPointer<SPUUpdater> self(this);
    const auto running = std::make_shared<UpdateDownload>(m_item->url, claim(), publicKey(),
                                                          m_dependencies.folder, m_dependencies.makeHttp());
    m_download = running;
    connect(running.get(), &UpdateDownload::progressed, &m_userDriver, &SPUStandardUserDriver::showProgress);
    m_delegate.updaterWillDownloadUpdate(*this, *m_item,
                                         {.method = "GET", .url = m_item->url, .headers = {}, .body = {}});
    std::shared_ptr<UpdatePackage> package;
    std::optional<UpdateError> failure;
    try {
        package = co_await running->run();
    } catch (const UpdateError& error) {
        failure = error;
    }
    if (!self || m_download != running) {
        co_return;
    }
    m_download.reset();
    m_package = package;
    if (failure) {
        fail(Event::downloadFailed, *failure);
    } else {
        handle(Event::downloaded);
    }
}

// The package may have been ready for days, and nobody should enter the administrator's password for one that
// is refused afterwards.
QCoro::Task<void> SPUUpdater::verify() {
    const QPointer<SPUUpdater> self(this);
    const auto package = m_package;
    std::optional<UpdateError> failure;
    try {
        co_await UpdatePackage::verify(package, claim(), publicKey());
    } catch (const UpdateError& error) {
        failure = error;
    }
    if (!self || m_package != package) {
        co_return;
    }
    if (failure) {
        fail(Event::verificationFailed, *failure);
    } else {
        handle(Event::verified);
    }
}

QCoro::Task<void> SPUUpdater::install() {
    const QPointer<SPUUpdater> self(this);
    const auto package = m_package;
    auto running = m_dependencies.installer->install(package, m_item->signature);
    const auto result = co_await std::move(running);
    if (!self) {
        co_return;
    }
    switch (result.outcome) {
    case PackageInstaller::Outcome::installed:
        handle(Event::installed);
        break;
    case PackageInstaller::Outcome::declined:
        handle(Event::installationDeclined);
        break;
    case PackageInstaller::Outcome::unavailable:
        fail(Event::installationFailed,
             {UpdateError::installationFailed,
              QStringLiteral("Nothing on this desktop asks for an administrator's password. In a terminal, "
                             "run: sudo apt install %1")
                  .arg(package->path())});
        break;
    case PackageInstaller::Outcome::failed:
        fail(Event::installationFailed,
             {UpdateError::installationFailed,
              QStringLiteral("The update was not installed. %1").arg(result.reason)});
        break;
    }
}

} // namespace platform
