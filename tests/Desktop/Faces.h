#pragma once

#include "ViewModels/SettingsViewModel.h"
#include "sandbox/desktop/UserHands.h"
#include "tests/Desktop/SampleUpdateFeed.h"
#include "tests/Desktop/WindowedProgram.h"
#ifdef CORVANE_UPDATER
#include "Services/UpdaterService.h"
#endif

#include <array>

namespace corvane {

class Desk;

// What the program can look like: the window it is about, what tells that it is there, and the way to it.
struct Face {
    enum class Place { signIn, dashboard, bar, update };

    const char* name;
    Place place;
    const char* landmark;
    void (*arrange)(Desk&);
};

// The program with its real windows, at a face, and that window alone on the screen.
class Desk : public TestProgram {
public:
    Desk(const UserHands& hands, const Face& face, bool dark = false)
        : TestProgram(face.place == Face::Place::signIn ? Start::signedOut : Start::signedIn, updatableInfo(),
                      makeWindowFactory())
        , m_place(face.place) {
        updates = [](auto&&) { return FakeHttpClient::response(200, updateFeed); };
        defaults->setBool("hasSeenOnboardingVideo", face.name != std::string_view("bar, onboarding"));
        face.place == Face::Place::signIn ? launch() : launchToSession();
        app->settingsViewModel().setTheme(dark ? AppTheme::dark : AppTheme::light);
        clearScreen();
        face.arrange(*this);
        settle();
        if (!waitUntil([&] { return hands.sees(face.landmark) && isActive(); })) {
            throw std::runtime_error(std::string("Not to be seen: ") + face.landmark);
        }
        QTest::qWait(400); // what moves has come to rest
    }

    // Null when it is not there.
    QQuickWindow* window() const {
        return m_place == Face::Place::bar      ? windowOf<FloatingPanel>()
               : m_place == Face::Place::update ? updateWindow()
                                                : WindowedProgram::dashboard();
    }
    OverlayBarPresenter& bar() { return app->overlayBarPresenter(); }

    void type(const QString& text) {
        for (const auto sign : text) {
            QTest::keyClick(window(), sign.toLatin1());
        }
    }
    // An address has been typed on the sign-in card, and this is the service's answer.
    void enterAddress(int status, const QByteArray& answer) {
        waitUntil([this] { return window()->activeFocusItem() != nullptr; });
        identityHttp->answer(status, answer);
        type("nobody@example.com");
        QTest::keyClick(window(), Qt::Key_Return);
        settle();
    }
    void open(DashboardPage page) { app->dashboardViewModel().setSelectedPage(page); }
    void startWith(const QList<QByteArray>& messages) {
        askForInterview("3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19");
        for (const auto& message : messages) {
            serverSays(message);
        }
    }

private:
    bool isActive() const { return window() && window()->isActive(); }
    void clearScreen() {
        const auto showsDashboard = [] {
            const auto* dashboard = WindowedProgram::dashboard();
            return dashboard && dashboard->isActive();
        };
        waitUntil(showsDashboard);
        if (m_place == Face::Place::signIn || m_place == Face::Place::dashboard) {
            // The longest page, without scrolling.
            window()->resize(900, 1500);
        } else {
            app->toggleDashboard();
            waitUntil([&] { return !showsDashboard(); });
        }
        if (m_place == Face::Place::bar) {
            waitUntil([this] { return window() && window()->isExposed(); });
            window()->requestActivate();
        } else if (m_place != Face::Place::signIn) {
            app->toggleFloatingPanel();
        }
    }

    const Face::Place m_place;
};

inline const QByteArray plan =
    R"x({"type":"chat_interview_plan","plan":{"Design":[{"question":"Why?"}],"Debugging":[{"question":"How?"}]}})x";
inline const QByteArray questions =
    R"({"type":"chat_questions","questions":{"Design":[{"question":"**Why**?","justification":"Depth"},{"question":"How?"}]}})";
inline const QByteArray assessment = R"({"type":"assessment_chunk","text":"Comment\nGood"})";

inline constexpr auto faces = [] {
    using enum Face::Place;
    return std::to_array<Face>({
        {"sign-in, address", signIn, "Continue", [](Desk& desk) { desk.type("a@b.example"); }},
        {"sign-in, keyring locked", signIn, "Unlock keyring",
         [](Desk& desk) {
             desk.secrets->setCondition(platform::SecretStore::Status::locked);
             desk.secrets->unlocked(); // look again
             desk.type("a@b.example");
         }},
        {"sign-in, code", signIn, "Use a different email",
         [](Desk& desk) {
             desk.enterAddress(
                 200,
                 R"({"response":{"id":"sia_1","status":"needs_first_factor","supported_first_factors":[{"strategy":"email_code"}]}})");
             desk.type("123456");
         }},
        {"sign-in, no account", signIn, "Try a different email",
         [](Desk& desk) {
             desk.enterAddress(422, R"({"errors":[{"code":"form_identifier_not_found","message":"x"}]})");
         }},
        {"dashboard", dashboard, "API base URL", [](Desk&) {}},
        {"dashboard, no link", dashboard, "Reconnect", [](Desk& desk) { desk.loseLink(); }},
        {"dashboard, expired session", dashboard, "Open Account",
         [](Desk& desk) {
             desk.loseLink();
             desk.advance(std::chrono::seconds(1));
             desk.peer().complete({}, 401);
         }},
        {"account", dashboard, "Sign out", [](Desk& desk) { desk.open(DashboardPage::account); }},
        {"settings", dashboard, "Launch at Login", [](Desk& desk) { desk.open(DashboardPage::settings); }},
        {"audio", dashboard, "Open System Settings", [](Desk& desk) { desk.open(DashboardPage::audio); }},
        {"shortcuts", dashboard, "Reset to Defaults",
         [](Desk& desk) { desk.open(DashboardPage::shortcuts); }},
        {"bar, idle", bar, "Interview ID", [](Desk&) {}},
        {"bar, onboarding", bar, "Watch onboarding video", [](Desk&) {}},
        {"bar, plan", bar, "Next topic", [](Desk& desk) { desk.startWith({plan}); }},
        {"bar, assessment", bar, "Comment",
         [](Desk& desk) {
             desk.startWith({questions});
             desk.interview().toggleFollowUps();
             desk.serverSays(assessment);
         }},
        {"bar, manual mode", bar, "Send",
         [](Desk& desk) {
             desk.startWith({questions});
             desk.interview().toggleFollowUps();
             desk.interview().setManualMode(true);
         }},
        {"bar, microphone only", bar, "Open Settings",
         [](Desk& desk) {
             desk.audio->systemError = platform::AudioError(platform::AudioError::Kind::noDevice, "none");
             desk.startWith({plan});
         }},
        {"bar, status", bar, "Reconnecting",
         [](Desk& desk) {
             desk.loseLink();
             desk.advance(std::chrono::seconds(3));
             desk.bar().status()->setShowPopover(true);
         }},
        {"bar, pause or finish", bar, "Finish",
         [](Desk& desk) {
             desk.startWith({plan});
             desk.interview().setShowStopDialog(true);
         }},
        {"bar, quit", bar, "Quit application?", [](Desk& desk) { desk.bar().askToQuit(); }},
#ifdef CORVANE_UPDATER
        {"update", update, "Release notes",
         [](Desk& desk) { desk.app->updaterService().downloadAndInstall(); }},
#endif
    });
}();

inline const Face& faceCalled(std::string_view name) {
    return *std::ranges::find(faces, name, &Face::name);
}

} // namespace corvane
