// What leads an update from step to step, and what is done and shown on the way.
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

// A check that nobody asked for begins where nothing is under way and no window is open that the user has
// yet to answer, and beside a package that is ready, which may have been withdrawn by then.
const SPUUpdater::Transition SPUUpdater::transitions[] = {
    {Step::idle, Event::due, Step::checkingUnasked, &SPUUpdater::beginCheck},
    {Step::idle, Event::asked, Step::checking, &SPUUpdater::beginCheck},

    {Step::checkingUnasked, Event::asked, Step::checking},
    {Step::checkingUnasked, Event::nothingFound, Step::idle, &SPUUpdater::tellUpToDate},
    {Step::checkingUnasked, Event::otherFound, Step::found, &SPUUpdater::tellFound},
    {Step::checkingUnasked, Event::declinedFound, Step::idle, &SPUUpdater::tellFound},
    {Step::checkingUnasked, Event::checkFailed, Step::idle, &SPUUpdater::tellFailure},

    {Step::checking, Event::asked, Step::checking},
    {Step::checking, Event::dismissed, Step::checkingUnasked},
    {Step::checking, Event::nothingFound, Step::upToDate, &SPUUpdater::tellUpToDate},
    {Step::checking, Event::otherFound, Step::found, &SPUUpdater::tellFound},
    {Step::checking, Event::declinedFound, Step::found, &SPUUpdater::tellFound},
    {Step::checking, Event::checkFailed, Step::failed, &SPUUpdater::tellFailure},

    {Step::upToDate, Event::due, Step::checkingUnasked, &SPUUpdater::beginCheck},
    {Step::upToDate, Event::asked, Step::checking, &SPUUpdater::beginCheck},
    {Step::upToDate, Event::dismissed, Step::idle},

    {Step::found, Event::asked, Step::found},
    {Step::found, Event::chosen, Step::downloading, &SPUUpdater::beginDownload},
    {Step::found, Event::dismissed, Step::idle, &SPUUpdater::decline},

    {Step::downloading, Event::asked, Step::downloading},
    {Step::downloading, Event::dismissed, Step::idle, &SPUUpdater::cancelDownload},
    {Step::downloading, Event::downloaded, Step::ready, &SPUUpdater::tellDownloaded},
    {Step::downloading, Event::downloadFailed, Step::failed, &SPUUpdater::tellFailure},

    {Step::ready, Event::asked, Step::ready},
    {Step::ready, Event::due, Step::readyChecking, &SPUUpdater::beginCheckUnseen},
    {Step::ready, Event::chosen, Step::verifying, &SPUUpdater::beginVerification},
    {Step::ready, Event::dismissed, Step::putOff},

    {Step::readyChecking, Event::asked, Step::readyChecking},
    {Step::readyChecking, Event::chosen, Step::verifying, &SPUUpdater::beginVerification},
    {Step::readyChecking, Event::dismissed, Step::putOffChecking},
    {Step::readyChecking, Event::readyFound, Step::ready},
    {Step::readyChecking, Event::checkFailed, Step::ready},
    {Step::readyChecking, Event::otherFound, Step::found, &SPUUpdater::tellFound},
    {Step::readyChecking, Event::declinedFound, Step::found, &SPUUpdater::tellFound},
    {Step::readyChecking, Event::nothingFound, Step::failed, &SPUUpdater::tellWithdrawn},

    {Step::putOff, Event::asked, Step::ready},
    {Step::putOff, Event::due, Step::putOffChecking, &SPUUpdater::beginCheckUnseen},

    {Step::putOffChecking, Event::asked, Step::readyChecking},
    {Step::putOffChecking, Event::readyFound, Step::putOff},
    {Step::putOffChecking, Event::checkFailed, Step::putOff},
    {Step::putOffChecking, Event::otherFound, Step::found, &SPUUpdater::tellFound},
    {Step::putOffChecking, Event::declinedFound, Step::idle, &SPUUpdater::tellFound},
    {Step::putOffChecking, Event::nothingFound, Step::idle, &SPUUpdater::tellUpToDate},

    {Step::verifying, Event::asked, Step::verifying},
    {Step::verifying, Event::dismissed, Step::putOff},
    {Step::verifying, Event::verified, Step::installing, &SPUUpdater::beginInstallation},
    {Step::verifying, Event::verificationFailed, Step::failed, &SPUUpdater::tellFailure},

    {Step::installing, Event::asked, Step::installing},
    {Step::installing, Event::installed, Step::installed},
    {Step::installing, Event::installationDeclined, Step::ready},
    {Step::installing, Event::installationFailed, Step::failed, &SPUUpdater::tellFailure},

    {Step::installed, Event::asked, Step::installed},
    {Step::installed, Event::chosen, Step::installed, &SPUUpdater::requestRestart},
    {Step::installed, Event::restartRefused, Step::installed},
    {Step::installed, Event::dismissed, Step::restartPutOff},

    {Step::restartPutOff, Event::asked, Step::installed},

    {Step::failed, Event::asked, Step::checking, &SPUUpdater::beginCheck},
    {Step::failed, Event::chosen, Step::checking, &SPUUpdater::beginCheck},
    {Step::failed, Event::dismissed, Step::idle},
};

// What the user sees at a step.
struct SPUUpdater::Face {
    Step step;
    Stage stage;
};

const SPUUpdater::Face SPUUpdater::faces[] = {
    {Step::idle, Stage::hidden},         {Step::checkingUnasked, Stage::hidden},
    {Step::checking, Stage::checking},   {Step::upToDate, Stage::upToDate},
    {Step::found, Stage::found},         {Step::downloading, Stage::downloading},
    {Step::ready, Stage::ready},         {Step::readyChecking, Stage::ready},
    {Step::putOff, Stage::hidden},       {Step::putOffChecking, Stage::hidden},
    {Step::verifying, Stage::verifying}, {Step::installing, Stage::installing},
    {Step::installed, Stage::installed}, {Step::restartPutOff, Stage::hidden},
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
    // The act may have led further; what is shown is where it led.
    showStep(event != Event::asked);
    if (event == Event::asked) {
        m_userDriver.bringForward();
    }
}

void SPUUpdater::showStep(bool unasked) {
    const auto stage = std::ranges::find(faces, m_step, &Face::step)->stage;
    QString text;
    if (stage == Stage::failed && m_failure) {
        text = m_failure->localizedDescription();
    } else if (stage == Stage::installed) {
        text = m_refusal;
    }
    // Only a window that was not there before can come unasked.
    const bool opens = m_userDriver.stage() == Stage::hidden;
    m_userDriver.show(
        {stage, m_item.value_or(AppcastItem()), text, opens ? unasked : m_userDriver.isUnasked()});
}

void SPUUpdater::beginCheck() {
    m_delegate.updaterWillCheckForUpdates(*this);
    beginCheckUnseen();
}

void SPUUpdater::beginCheckUnseen() {
    startTask(check(), "update check");
}

void SPUUpdater::tellUpToDate() {
    // What an update that is installed or withdrawn by now has left.
    m_package.reset();
    m_item.reset();
    UpdateDownload::removeAll(m_surroundings.folder);
    m_delegate.updaterDidNotFindUpdate(*this);
    m_delegate.updaterDidAbortWithError(
        *this, UpdateError(UpdateError::noUpdate, QStringLiteral("You have the newest version.")));
}

void SPUUpdater::tellWithdrawn() {
    m_failure.emplace(UpdateError::noUpdate,
                      QStringLiteral("The new version has been withdrawn, so it was not installed. You have "
                                     "the newest version."));
    tellUpToDate();
}

void SPUUpdater::tellFound() {
    m_package.reset();
    m_item = m_found;
    m_delegate.updaterDidFindValidUpdate(*this, *m_item);
}

void SPUUpdater::tellFailure() {
    m_package.reset();
    m_delegate.updaterDidAbortWithError(*this, *m_failure);
}

void SPUUpdater::beginDownload() {
    startTask(download(), "update download");
}

// The release is still there to be had.
void SPUUpdater::cancelDownload() {
    std::exchange(m_download, nullptr)->cancel();
    m_delegate.updaterDidFindValidUpdate(*this, *m_item);
}

void SPUUpdater::tellDownloaded() {
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
