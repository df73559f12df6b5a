#include "Views/Updates/UpdaterPresenter.h"

#include "Services/UpdaterService.h"

#include <algorithm>
#include <array>

namespace corvane {

namespace {

using Case = UpdateState::Case;

struct Button {
    const char* text = "";
    const char* symbol = "";
    bool prominent = false;
};

constexpr Button noButton;
constexpr Button checkNow{.text = "Check Now", .symbol = "arrow.clockwise"};

struct CardState {
    Case kind;
    const char* symbol; // empty when a spinner is shown instead
    const char* symbolColor;
    const char* title; // %1 is the version or the error
    const char* titleColor;
    const char* subtitle;
    const char* stateColor;
    Button button;
};

constexpr std::array cardStates{
    CardState{Case::available,
              "arrow.down.circle",
              "blue",
              "Update Available — %1",
              "blue",
              "A new version is ready to download.",
              "blue",
              {.text = "Download & Install", .prominent = true}},
    CardState{Case::downloading, "", "gray", "Downloading Update…", "primary",
              "Please wait while the update downloads.", "gray", noButton},
    CardState{Case::error, "exclamationmark.triangle", "red", "Update Error: %1", "red",
              "Could not check for updates.", "red", checkNow},
    CardState{Case::checking, "", "gray", "Checking for Updates…", "primary", "Looking for a newer version…",
              "gray", noButton},
    CardState{Case::readyToInstall,
              "checkmark.circle",
              "green",
              "Ready to Install",
              "green",
              "The app will restart to complete the update.",
              "green",
              {.text = "Restart Now", .prominent = true}},
    CardState{Case::idle, "arrow.clockwise", "secondary", "App Updates", "primary",
              "Check for the latest version.", "gray", checkNow},
    CardState{Case::upToDate, "arrow.clockwise", "secondary", "App Updates", "primary",
              "Check for the latest version.", "gray", checkNow},
};

// The card of an installation without an update feed.
constexpr CardState withoutFeed{
    Case::idle,  "arrow.clockwise",
    "secondary", "App Updates",
    "primary",   "This copy does not look for updates. Get new versions from where you got it.",
    "gray",      noButton};

const CardState& cardState(const UpdaterService& service) {
    if (!service.hasFeed()) {
        return withoutFeed;
    }
    return *std::ranges::find(cardStates, service.state().kind, &CardState::kind);
}

} // namespace

UpdaterPresenter::UpdaterPresenter(UpdaterService& service)
    : m_service(service) {
    connect(&service, &UpdaterService::stateChanged, this, &UpdaterPresenter::changed);
}

QString UpdaterPresenter::symbol() const {
    return QString::fromUtf8(cardState(m_service).symbol);
}

QString UpdaterPresenter::symbolColor() const {
    return QString::fromUtf8(cardState(m_service).symbolColor);
}

QString UpdaterPresenter::title() const {
    const auto& state = m_service.state();
    auto title = QString::fromUtf8(cardState(m_service).title);
    return title.replace(QStringLiteral("%1"), state.kind == Case::error ? state.error : state.version);
}

QString UpdaterPresenter::titleColor() const {
    return QString::fromUtf8(cardState(m_service).titleColor);
}

QString UpdaterPresenter::subtitle() const {
    return QString::fromUtf8(cardState(m_service).subtitle);
}

QString UpdaterPresenter::stateColor() const {
    return QString::fromUtf8(cardState(m_service).stateColor);
}

QString UpdaterPresenter::buttonText() const {
    return QString::fromUtf8(cardState(m_service).button.text);
}

QString UpdaterPresenter::buttonSymbol() const {
    return QString::fromUtf8(cardState(m_service).button.symbol);
}

bool UpdaterPresenter::isButtonProminent() const {
    return cardState(m_service).button.prominent;
}

void UpdaterPresenter::checkForUpdates() {
    m_service.downloadAndInstall();
}

} // namespace corvane
