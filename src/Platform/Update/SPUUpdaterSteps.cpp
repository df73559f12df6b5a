// The transitions between the steps of an update, with the action and the display of each step.
#include "Platform/Update/SPUUpdater.h"

#include "Platform/Core/Tasks.h"

#include <algorithm>

namespace platform {

using Stage = SPUStandardUserDriver::Stage;

struct SPUUpdater::Transition {
    Step from;
    Event event;
    Step to;
    void (SPUUpdater::*act)() = nullptr;
};

// An automatic check starts only if nothing is under way and no window awaits the user's answer, or while a
// package is ready, which may have been withdrawn by then.
const SPUUpdater::Transition SPUUpdater::transitions[] = {
    {Step::idle, Event::due, Step::checkingAutomatically, &SPUUpdater::beginCheck},
    {Step::idle, Event::asked, Step::checking, &SPUUpdater::beginCheck},

    {Step::checkingAutomatically, Event::asked, Step::checking},
    {Step::checkingAutomatically, Event::nothingFound, Step::idle, &SPUUpdater::reportUpToDate},
    {Step::checkingAutomatically, Event::otherFound, Step::found, &SPUUpdater::reportFound},
    {Step::checkingAutomatically, Event::declinedFound, Step::idle, &SPUUpdater::reportFound},
    {Step::checkingAutomatically, Event::checkFailed, Step::idle, &SPUUpdater::reportFailure},

    {Step::checking, Event::asked, Step::checking},
    {Step::checking, Event::dismissed, Step::checkingAutomatically},
    {Step::checking, Event::nothingFound, Step::upToDate, &SPUUpdater::reportUpToDate},
    {Step::checking, Event::otherFound, Step::found, &SPUUpdater::reportFound},
    {Step::checking, Event::declinedFound, Step::found, &SPUUpdater::reportFound},
    {Step::checking, Event::checkFailed, Step::failed, &SPUUpdater::reportFailure},

    {Step::upToDate, Event::due, Step::checkingAutomatically, &SPUUpdater::beginCheck},
    {Step::upToDate, Event::asked, Step::checking, &SPUUpdater::beginCheck},
    {Step::upToDate, Event::dismissed, Step::idle},

    {Step::found, Event::asked, Step::found},
    {Step::found, Event::chosen, Step::downloading, &SPUUpdater::beginDownload},
    {Step::found, Event::dismissed, Step::idle, &SPUUpdater::decline},

    {Step::downloading, Event::asked, Step::downloading},
    {Step::downloading, Event::dismissed, Step::idle, &SPUUpdater::cancelDownload},
    {Step::downloading, Event::downloaded, Step::ready, &SPUUpdater::reportDownloaded},
    {Step::downloading, Event::downloadFailed, Step::failed, &SPUUpdater::reportFailure},

    {Step::ready, Event::asked, Step::ready},
    {Step::ready, Event::due, Step::readyChecking, &SPUUpdater::beginHiddenCheck},
    {Step::ready, Event::chosen, Step::verifying, &SPUUpdater::beginVerification},
    {Step::ready, Event::dismissed, Step::postponed},

    {Step::readyChecking, Event::asked, Step::readyChecking},
    {Step::readyChecking, Event::chosen, Step::verifying, &SPUUpdater::beginVerification},
    {Step::readyChecking, Event::dismissed, Step::postponedChecking},
    {Step::readyChecking, Event::readyFound, Step::ready},
    {Step::readyChecking, Event::checkFailed, Step::ready},
    {Step::readyChecking, Event::otherFound, Step::found, &SPUUpdater::reportFound},
    {Step::readyChecking, Event::declinedFound, Step::found, &SPUUpdater::reportFound},
    {Step::readyChecking, Event::nothingFound, Step::failed, &SPUUpdater::reportWithdrawn},

    {Step::postponed, Event::asked, Step::ready},
    {Step::postponed, Event::due, Step::postponedChecking, &SPUUpdater::beginHiddenCheck},

    {Step::postponedChecking, Event::asked, Step::readyChecking},
    {Step::postponedChecking, Event::readyFound, Step::postponed},
    {Step::postponedChecking, Event::checkFailed, Step::postponed},
    {Step::postponedChecking, Event::otherFound, Step::found, &SPUUpdater::reportFound},
    {Step::postponedChecking, Event::declinedFound, Step::idle, &SPUUpdater::reportFound},
    {Step::postponedChecking, Event::nothingFound, Step::idle, &SPUUpdater::reportUpToDate},

    {Step::verifying, Event::asked, Step::verifying},
    {Step::verifying, Event::dismissed, Step::postponed},
    {Step::verifying, Event::verified, Step::installing, &SPUUpdater::beginInstallation},
    {Step::verifying, Event::verificationFailed, Step::failed, &SPUUpdater::reportFailure},

    {Step::installing, Event::asked, Step::installing},
    {Step::installing, Event::installed, Step::installed},
    {Step::installing, Event::installationDeclined, Step::ready},
    {Step::installing, Event::installationFailed, Step::failed, &SPUUpdater::reportFailure},

    {Step::installed, Event::asked, Step::installed},
    {Step::installed, Event::chosen, Step::installed, &SPUUpdater::requestRestart},
    {Step::installed, Event::restartRefused, Step::installed},
    {Step::installed, Event::dismissed, Step::restartPostponed},

    {Step::restartPostponed, Event::asked, Step::installed},

    {Step::failed, Event::asked, Step::checking, &SPUUpdater::beginCheck},
    {Step::failed, Event::chosen, Step::checking, &SPUUpdater::beginCheck},
    {Step::failed, Event::dismissed, Step::idle},
};

// The stage that the user sees at each step.
struct SPUUpdater::StageOfStep {
    Step step;
    Stage stage;
};

const SPUUpdater::StageOfStep SPUUpdater::stagesOfSteps[] = {
    {Step::idle, Stage::hidden},         {Step::checkingAutomatically, Stage::hidden},
    {Step::checking, Stage::checking},   {Step::upToDate, Stage::upToDate},
    {Step::found, Stage::found},         {Step::downloading, Stage::downloading},
    {Step::ready, Stage::ready},         {Step::readyChecking, Stage::ready},
    {Step::postponed, Stage::hidden},    {Step::postponedChecking, Stage::hidden},
    {Step::verifying, Stage::verifying}, {Step::installing, Stage::installing},
    {Step::installed, Stage::installed}, {Step::restartPostponed, Stage::hidden},
    {Step::failed, Stage::failed},
};

void SPUUpdater::handle(Event event) {
    const auto* row = std::ranges::find_if(transitions, [this, event](const Transition& candidate) {
        return candidate.from == m_step && candidate.event == event;
    });
    if (row == std::end(transitions)) {
        return;
    }
    m_step = row->to;
    if (row->act) {
        (this->*row->act)();
    }
    // The action may have changed the step again; the current one is shown.
    showStep(event != Event::asked);
    if (event == Event::asked) {
        m_userDriver.bringForward();
    }
}

void SPUUpdater::showStep(bool automatic) {
    const auto stage = std::ranges::find(stagesOfSteps, m_step, &StageOfStep::step)->stage;
    QString text;
    if (stage == Stage::failed && m_failure) {
        text = m_failure->localizedDescription();
    } else if (stage == Stage::installed) {
        text = m_refusal;
    }
    // Only a window that has just opened can be automatic.
    const bool opens = m_userDriver.stage() == Stage::hidden;
    m_userDriver.show(
        {stage, m_item.value_or(AppcastItem()), text, opens ? automatic : m_userDriver.isAutomatic()});
}

void SPUUpdater::beginCheck() {
    m_delegate.updaterWillCheckForUpdates(*this);
    beginHiddenCheck();
}

void SPUUpdater::beginHiddenCheck() {
    startTask(check(), "update check");
}

void SPUUpdater::reportUpToDate() {
    // Removes what an installed or withdrawn update has left behind.
    m_package.reset();
    m_item.reset();
    UpdateDownload::removeAll(m_dependencies.folder);
    m_delegate.updaterDidNotFindUpdate(*this);
    m_delegate.updaterDidAbortWithError(
        *this, UpdateError(UpdateError::noUpdate, QStringLiteral("You have the newest version.")));
}

void SPUUpdater::reportWithdrawn() {
    m_failure.emplace(UpdateError::noUpdate,
                      QStringLiteral("The new version has been withdrawn, so it was not installed. You have "
                                     "the newest version."));
    reportUpToDate();
}

void SPUUpdater::reportFound() {
    m_package.reset();
    m_item = m_found;
    m_delegate.updaterDidFindValidUpdate(*this, *m_item);
}

void SPUUpdater::reportFailure() {
    m_package.reset();
    m_delegate.updaterDidAbortWithError(*this, *m_failure);
}

void SPUUpdater::beginDownload() {
    startTask(download(), "update download");
}

// The release is still available.
void SPUUpdater::cancelDownload() {
    std::exchange(m_download, nullptr)->cancel();
    m_delegate.updaterDidFindValidUpdate(*this, *m_item);
}

void SPUUpdater::reportDownloaded() {
    m_delegate.updaterDidDownloadUpdate(*this, *m_item);
}

void SPUUpdater::beginVerification() {
    startTask(verify(), "update verification");
}

void SPUUpdater::beginInstallation() {
    startTask(install(), "update installation");
}

void SPUUpdater::requestRestart() {
    Q_EMIT restartRequested();
}

} // namespace platform
