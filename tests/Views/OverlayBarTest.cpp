#include "ViewModels/OverlayViewModel.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

using namespace corvane;

namespace {

// The bar of a program that has its session.
struct Bar : TestProgram {
    Bar() { launchToSession(); }

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

} // namespace

class OverlayBarTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatArrivesUnfoldsTheContent_data();
    void whatArrivesUnfoldsTheContent();
    void thePanelGrowsAndShrinksWithTheContent();
    void theStopDialogGoesFirst();
    void stopDialogAnswers_data();
    void stopDialogAnswers();
    void pauseInTheDialogHoldsInAnyStatus_data();
    void pauseInTheDialogHoldsInAnyStatus();
    void theStripShowsOnceOnly_data();
    void theStripShowsOnceOnly();
};

void OverlayBarTest::whatArrivesUnfoldsTheContent_data() {
    const auto row = rows<QByteArray, bool>();
    row("questions", R"({"type":"chat_questions","questions":{"A":[{"question":"Why?"}]}})", true);
    row("plan", R"({"type":"chat_interview_plan","plan":{"A":[{"question":"Why?"}]}})", true);
    row("response", R"({"type":"chat_chunk","text":"Hello"})", true);
    row("assessment", R"({"type":"assessment_chunk","text":"Good"})", true);
    row("the candidate speaks", R"({"type":"candidate_speaking"})", false);
}

void OverlayBarTest::whatArrivesUnfoldsTheContent() {
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

void OverlayBarTest::thePanelGrowsAndShrinksWithTheContent() {
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

void OverlayBarTest::theStopDialogGoesFirst() {
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

void OverlayBarTest::stopDialogAnswers_data() {
    const auto row = rows<int, InterviewStatus>();
    row("Cancel", 0, InterviewStatus::streaming);
    row("Pause", 1, InterviewStatus::paused);
    row("Finish", 2, InterviewStatus::idle);
}

void OverlayBarTest::stopDialogAnswers() {
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
void OverlayBarTest::pauseInTheDialogHoldsInAnyStatus_data() {
    const auto row = rows<QByteArray, InterviewStatus>();
    row("the link is lost", {}, InterviewStatus::paused);
    row("the interview goes on by itself", R"({"type":"session_resumed","interview_id":"abc"})",
        InterviewStatus::startingAudio);
}

void OverlayBarTest::pauseInTheDialogHoldsInAnyStatus() {
    const auto [answer, status] = currentRow<QByteArray, InterviewStatus>();
    Bar bar;
    bar.startInterview();
    bar.presenter().audioControl()->press();
    bar.settle();
    bar.loseLink();
    bar.audio->hold();
    if (!answer.isEmpty()) {
        bar.reopenLink(answer);
    }
    QCOMPARE(bar.interview().status(), status);
    bar.answer(1);
    bar.audio->release();
    bar.settle();
    if (answer.isEmpty()) {
        bar.reopenLink(R"({"type":"session_resumed","interview_id":"abc"})");
    }
    QCOMPARE(bar.interview().status(), InterviewStatus::paused);
    QVERIFY(bar.isSilent() && !bar.presenter().showingDialog());
}

void OverlayBarTest::theStripShowsOnceOnly_data() {
    const auto row = rows<void (OverlayBarPresenter::*)(), int>();
    row("watched", &OverlayBarPresenter::watchOnboardingVideo, 1);
    row("dismissed", &OverlayBarPresenter::dismissOnboarding, 0);
}

void OverlayBarTest::theStripShowsOnceOnly() {
    const auto [action, opened] = currentRow<void (OverlayBarPresenter::*)(), int>();
    Bar bar;
    QVERIFY(bar.presenter().onboardingStripVisible());
    bar.act(action);
    QCOMPARE(bar.access->opened.size(), opened);
    QVERIFY(!bar.presenter().onboardingStripVisible());
    QCOMPARE(bar.defaults->boolean("hasSeenOnboardingVideo"), std::optional(true));
}

QTEST_GUILESS_MAIN(OverlayBarTest)
#include "OverlayBarTest.moc"
