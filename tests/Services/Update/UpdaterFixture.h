#pragma once

#include "Services/UpdaterService.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/FakeHttpClient.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QDir>
#include <QTemporaryDir>

namespace corvane {

using namespace std::chrono_literals;
using platform::UpdateError;
using Case = UpdateState::Case;
using Stage = platform::SPUStandardUserDriver::Stage;

class PackageDesktop : public platform::SystemAccess {
public:
    bool open(const QString& address) override {
        opened = QUrl(address).toLocalFile();
        return installs;
    }

    bool installs = true;
    QString opened;
};

// An installation, version 1 (0.1.0), whose network the test decides on.
struct UpdaterFixture {
    using MakeHttp = std::function<std::unique_ptr<platform::HttpClient>()>;

    LogCapture log;
    QTemporaryDir cache;
    FakeClock clock;
    std::unique_ptr<platform::DefaultsStore> defaults = platform::makeMemoryDefaultsStore();
    PackageDesktop desktop;
    QString feed = QStringLiteral("https://updates.lumetra.test/update/appcast.xml");
    QString key = QStringLiteral("ack+ZdGSst6FVRag6K3nXO3fz3tY0hetIWJ+vpdI4Vw=");
    bool asRoot = false;
    MakeHttp makeHttp;
    std::unique_ptr<UpdaterService> service;

    // As a new start of the program does, on what is stored.
    void launch() {
        const platform::ApplicationInfo info({{"CFBundleVersion", "1"},
                                              {"CFBundleShortVersionString", "0.1.0"},
                                              {"SUFeedURL", feed},
                                              {"SUPublicEDKey", key}});
        service = std::make_unique<UpdaterService>(
            info, platform::SPUUpdater::Surroundings{makeHttp, *defaults, clock, desktop, folder(), asRoot});
        service->startUpdater();
        settle();
    }
    void settle() {
        for (int turn = 0; turn < 12; ++turn) {
            clock.advance(0ms);
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
    QString folder() const { return cache.filePath(QStringLiteral("updates")); }
    QStringList leftBehind() const { return QDir(folder()).entryList(QDir::Files | QDir::Hidden); }
};

} // namespace corvane
