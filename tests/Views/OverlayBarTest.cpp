#include "ViewModels/OverlayViewModel.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

using namespace corvane;

namespace {

// The bar of a program that has its session.
struct Bar : SessionProgram {

    OverlayBarPresenter& presenter() { return app->overlayBarPresenter(); }
    double height() const { return app->overlayViewModel().panelHeight(); }
    void act(void (OverlayBarPresenter::*action)()) {
        (presenter().*action)();
        settle();
    }
    void answer(int button) {
        presenter().pressDialogButton(button);
        settle();
    }
};

constexpr auto resumed = R"({"type":"session_resumed","interview_id":"abc"})";

} // namespace

class OverlayBarTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatArrivesUnfoldsTheContent_data() {
        const auto row = rows<QByteArray, bool>();
        row("questions", R"({"type":"chat_questions","questions":{"A":[{"question":"Why?"}]}})", true);
        row("plan", R"({"type":"chat_interview_plan","plan":{"A":[{"question":"Why?"}]}})", true);
        row("response", R"({"type":"chat_chunk","text":"Hello"})", true);
        row("assessment", R"({"type":"assessment_chunk","text":"Good"})", true);
        row("the candidate speaks", R"({"type":"candidate_speaking"})", false);
    }

    void whatArrivesUnfoldsTheContent() {
        const auto [message, unfolds] = currentRow<QByteArray, bool>();
        Bar bar;
        bar.completion().setIsResponsePopoverOpen(true);
        bar.settle();
        QVERIFY(bar.presenter().showsResponse() && !bar.presenter().onboardingStripVisible());
        bar.act(&OverlayBarPresenter::toggleContent);
        QVERIFY(bar.presenter().hasContent() && !bar.presenter().showsResponse());
        QVERIFY(bar.presenter().onboardingStripVisible());
        QCOMPARE(bar.height(), OverlayViewModel::expandedHeight);
        bar.serverSays(message);
        QCOMPARE(bar.presenter().showsResponse(), unfolds);
    }

    void thePanelGrowsAndShrinksWithTheContent() {
        constexpr auto low = OverlayViewModel::collapsedHeight;
        constexpr auto high = OverlayViewModel::expandedHeight;
        Bar bar;
        auto& overlay = bar.app->overlayViewModel();
        QList<double> heights;
        connect(&overlay, &OverlayViewModel::panelHeightChanged, this,
                [&] { heights.append(overlay.panelHeight()); });
        // A second message clears the answer to the first before it opens the popover again.
        for (const auto* text : {"Hello", "Again"}) {
            bar.completion().setInput(QString::fromLatin1(text));
            bar.completion().submit();
            bar.serverSays(R"({"type":"chat_chunk","text":"Hi"})");
            bar.serverSays(R"({"type":"chat_done"})");
            bar.completion().setIsResponsePopoverOpen(false);
            bar.settle();
        }
        QCOMPARE(heights, QList<double>{high});
        bar.completion().clearAfterInterview();
        bar.settle();
        QCOMPARE(heights, (QList<double>{high, low}));

        // A dialog makes room whatever the content does, and leaves the room behind.
        bar.act(&OverlayBarPresenter::askToQuit);
        QCOMPARE(bar.height(), high);
        overlay.collapsePanel();
        bar.completion().setIsResponsePopoverOpen(true);
        bar.settle();
        QCOMPARE(bar.height(), low);
        overlay.expandPanel();
        bar.answer(0);
        QCOMPARE(bar.height(), high);
    }

    void theStopDialogGoesFirst() {
        Bar bar;
        bar.act(&OverlayBarPresenter::askToQuit);
        QCOMPARE(bar.presenter().dialogTitle(), "Quit application?");
        QVERIFY(bar.presenter().dialogBody().isEmpty() && !bar.presenter().onboardingStripVisible());
        bar.startInterview();
        QCOMPARE(bar.presenter().dialogBody(), "The active interview will be stopped.");
        bar.interview().setShowStopDialog(true);
        bar.settle();
        QCOMPARE(bar.presenter().dialogTitle(), "Pause or finish?");
        bar.answer(0);
        QCOMPARE(bar.presenter().dialogButtons(), QStringList({"Cancel", "Quit"}));
        bar.answer(0);
        QVERIFY(!bar.presenter().showingDialog() && bar.presenter().showsResponse());
    }

    void stopDialogAnswers_data() {
        const auto row = rows<int, InterviewStatus>();
        row("Cancel", 0, InterviewStatus::streaming);
        row("Pause", 1, InterviewStatus::paused);
        row("Finish", 2, InterviewStatus::idle);
    }

    void stopDialogAnswers() {
        const auto [button, status] = currentRow<int, InterviewStatus>();
        Bar bar;
        bar.startInterview();
        bar.presenter().audioControl()->press();
        bar.settle();
        QCOMPARE(bar.presenter().dialogButtons().value(button), QString(QTest::currentDataTag()));
        bar.answer(button);
        QCOMPARE(bar.interview().status(), status);
        QVERIFY(!bar.presenter().showingDialog());
        QCOMPARE(bar.presenter().showsResponse(), status != InterviewStatus::idle);
    }

    // The dialog is open while the interview takes another course.
    void pauseInTheDialogHoldsInAnyStatus() {
        for (const bool goesOn : {false, true}) {
            Bar bar;
            bar.startInterview();
            bar.presenter().audioControl()->press();
            bar.settle();
            bar.loseLink();
            bar.audio->hold();
            if (goesOn) { // by itself
                bar.reopenLink(resumed);
            }
            QCOMPARE(bar.interview().status(),
                     goesOn ? InterviewStatus::startingAudio : InterviewStatus::paused);
            bar.answer(1);
            bar.audio->release();
            bar.settle();
            if (!goesOn) {
                bar.reopenLink(resumed);
            }
            QCOMPARE(bar.interview().status(), InterviewStatus::paused);
            QVERIFY(bar.isSilent() && !bar.presenter().showingDialog());
        }
    }

    void theStripShowsOnceOnly() {
        for (const bool watches : {true, false}) {
            Bar bar;
            QVERIFY(bar.presenter().onboardingStripVisible());
            bar.act(watches ? &OverlayBarPresenter::watchOnboardingVideo
                            : &OverlayBarPresenter::dismissOnboarding);
            QCOMPARE(bar.access->opened.size(), watches ? 1 : 0);
            QVERIFY(!bar.presenter().onboardingStripVisible());
            QCOMPARE(bar.defaults->boolean("hasSeenOnboardingVideo"), std::optional(true));
        }
    }
};

QTEST_GUILESS_MAIN(OverlayBarTest)
#include "OverlayBarTest.moc"
