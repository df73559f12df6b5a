#include "App/AppDelegate.h"

#include "Services/UpdaterService.h"
#include "ViewModels/InterviewViewModel.h"
#include "Views/Dashboard/AppSettingsPresenter.h"
#include "Views/Updates/UpdateDialogPresenter.h"
#include "Views/Updates/UpdaterPresenter.h"

#include <QCoreApplication>
#include <QFile>

namespace corvane {

namespace {

constexpr auto updatesFolder = "/com.corvane.interview-assistant/updates";
const auto programName = QStringLiteral("Corvane Lumetra");
const auto packageName = QStringLiteral("corvane-lumetra");

// Returns the path of the installing program: beside this one in a build folder, in libexec once it is
// installed.
QString installerProgram() {
    const auto name = QStringLiteral("/corvane-lumetra-install");
    const auto folder = QCoreApplication::applicationDirPath();
    const auto built = folder + name;
    return QFile::exists(built) ? built : folder + QStringLiteral("/../libexec") + name;
}

} // namespace

UpdaterService& AppDelegate::updaterService() const {
    return *m_updaterService;
}

void AppDelegate::makeUpdater() {
    m_updaterService = std::make_unique<UpdaterService>(
        m_platform.applicationInfo,
        platform::SPUUpdater::Dependencies{.makeHttp = m_platform.makeUpdateHttp,
                                           .defaults = *m_platform.defaults,
                                           .clock = *m_platform.clock,
                                           .installer = platform::makePackageInstaller(installerProgram()),
                                           .packageName = packageName,
                                           .folder = m_platform.cacheFolder + QLatin1String(updatesFolder)});
}

void AppDelegate::startUpdater() {
    m_updaterService->startUpdater();
    m_updateDialogPresenter =
        std::make_unique<UpdateDialogPresenter>(*m_updaterService->userDriver(), programName,
                                                infoValue("CFBundleShortVersionString").value_or(QString()));
    m_updateWindow = m_platform.windows->makeUpdateWindow(*m_updateDialogPresenter);
    setUpdateWindowPolicy(storedActivationPolicy());
    connect(m_updaterService->updater(), &platform::SPUUpdater::restartRequested, this,
            &AppDelegate::restart);
}

void AppDelegate::setUpdateWindowPolicy(ActivationPolicy policy) {
    if (m_updateWindow) {
        m_updateWindow->setActivationPolicy(policy);
    }
}

void AppDelegate::addUpdaterCard(AppSettingsPresenter& page) {
    page.setUpdater(std::make_unique<UpdaterPresenter>(*m_updaterService));
}

// Refuses while an interview is running, which a restart would end.
void AppDelegate::restart() {
    const auto status = m_interviewViewModel->status();
    if (status == InterviewStatus::idle || status == InterviewStatus::error) {
        m_wantsRestart = true;
        terminate();
        return;
    }
    m_updaterService->updater()->refuseRestart(QStringLiteral(
        "An interview is running. End it first; otherwise the new version is used the next time you start "
        "the app."));
}

} // namespace corvane
