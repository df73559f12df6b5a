#pragma once

#include "Platform/Core/Completion.h"
#include "Platform/Update/UpdatePackage.h"
#include "Services/UpdaterService.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/FakeHttpClient.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QDir>
#include <QTemporaryDir>
#include <QThreadPool>

#include <unistd.h>

namespace corvane {

using namespace std::chrono_literals;
using platform::UpdateError;
using Case = UpdateState::Case;
using Stage = platform::SPUStandardUserDriver::Stage;

// Gets the open package, as the real one does, and answers when the test wants it to.
class HeldInstaller : public platform::PackageInstaller {
public:
    QCoro::Task<Result> install(std::shared_ptr<platform::UpdatePackage> package, QByteArray) override {
        ++calls;
        QFile file;
        installed.clear();
        if (::lseek(package->descriptor(), 0, SEEK_SET) == 0 &&
            file.open(package->descriptor(), QFile::ReadOnly)) {
            installed = file.readAll();
        }
        const platform::Completion<Result> answer;
        m_answer = answer;
        if (answers) {
            answer.resolve(result);
        }
        auto given = co_await std::move(answer);
        co_return given;
    }
    void answer() { m_answer.resolve(result); }

    Result result{Outcome::installed};
    bool answers = true;
    int calls = 0;
    QByteArray installed; // the bytes that it was given

private:
    platform::Completion<Result> m_answer;
};

// An installation, version 1 (0.1.0), whose network the test decides on.
struct UpdaterFixture {
    using MakeHttp = std::function<std::unique_ptr<platform::HttpClient>()>;

    LogCapture log;
    QTemporaryDir cache;
    FakeClock clock;
    std::unique_ptr<platform::DefaultsStore> defaults = platform::makeMemoryDefaultsStore();
    std::shared_ptr<HeldInstaller> installer = std::make_shared<HeldInstaller>();
    QString feed = QStringLiteral("https://updates.lumetra.test/update/appcast.xml");
    QString key = QStringLiteral("ack+ZdGSst6FVRag6K3nXO3fz3tY0hetIWJ+vpdI4Vw=");
    MakeHttp makeHttp;
    std::function<std::shared_ptr<platform::PackageInstaller>()> makeInstaller = [this] { return installer; };
    std::unique_ptr<UpdaterService> service;

    // As a new start of the program does, on what is stored.
    void launch() {
        const platform::ApplicationInfo info({{"CFBundleVersion", "1"},
                                              {"CFBundleShortVersionString", "0.1.0"},
                                              {"SUFeedURL", feed},
                                              {"SUPublicEDKey", key}});
        service = std::make_unique<UpdaterService>(
            info, platform::SPUUpdater::Dependencies{makeHttp, *defaults, clock, makeInstaller(),
                                                     "corvane-lumetra", folder()});
        service->startUpdater();
        settle();
    }
    // A feed is read on another thread.
    void settle() {
        for (int turn = 0; turn < 12; ++turn) {
            clock.advance(0ms);
            QThreadPool::globalInstance()->waitForDone();
        }
    }
    platform::SPUStandardUserDriver& driver() { return *service->userDriver(); }
    Case state() const { return service->state().kind; }
    bool reaches(Stage stage) {
        const bool reached = waitUntil([&] { return driver().stage() == stage; }, 20'000);
        settle();
        return reached;
    }
    // What the user does at the window.
    bool checksAndSees(Stage stage) {
        service->downloadAndInstall();
        return reaches(stage);
    }
    bool choosesWhatIsFound() {
        const bool found = checksAndSees(Stage::found);
        driver().choose();
        return found;
    }
    QString folder() const { return cache.filePath(QStringLiteral("updates")); }
    QStringList leftBehind() const { return QDir(folder()).entryList(QDir::Files | QDir::Hidden); }
};

} // namespace corvane
