#include "OverlayBarPresenter.h"
#include "OverlayFixture.h"
#include "Rows.h"

namespace {

constexpr auto someId = "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19";
constexpr auto videoUrl = "https://lumetra.test/onboarding";

// The bar on a program of its own.
struct Bar {
    OverlayModels models;
    TestProgram& program = models.program;
    OverlayBarPresenter presenter{
        program.completion(), *models.overlay, program.interview(), *models.settings, models.webSocket(),
        models.windows,       *program.access, *program.defaults,   *program.clock,   videoUrl};

    double height() const { return models.overlay->panelHeight(); }
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
    void theStripShowsOnceOnly_data();
    void theStripShowsOnceOnly();
};

void OverlayBarTest::whatArrivesUnfoldsTheContent_data() {
    const auto row = rows<QByteArray, bool>();
    row("questions", R"({"type":"chat_questions","questions":{"A":[{"question":"Why?"}]}})", true);
    row("plan", R"({"type":"chat_interview_plan","plan":{"A":[{"question":"Why?"}]}})", true);
    row("response", R"({"type":"chat_chunk","content":"Hello"})", true);
    row("assessment", R"({"type":"assessment_chunk","content":"Good"})", true);
    row("the candidate speaks", R"({"type":"candidate_speaking"})", false);
}

void OverlayBarTest::whatArrivesUnfoldsTheContent() {
    const auto [message, unfolds] = currentRow<QByteArray, bool>();
    Bar bar;
    bar.program.completion().setIsResponsePopoverOpen(true);
    bar.program.settle();
    QVERIFY(bar.presenter.showsResponse());
    bar.presenter.toggleContent();
    bar.program.settle();
    QVERIFY(bar.presenter.hasContent() && !bar.presenter.showsResponse());
    QVERIFY(bar.presenter.onboardingStripVisible());
    QCOMPARE(bar.height(), OverlayViewModel::expandedHeight);
    bar.program.serverSays(message);
    QCOMPARE(bar.presenter.showsResponse(), unfolds);
}

void OverlayBarTest::thePanelGrowsAndShrinksWithTheContent() {
    Bar bar;
    auto& overlay = *bar.models.overlay;
    QList<double> heights;
    connect(&overlay, &OverlayViewModel::panelHeightChanged, this,
            [&] { heights.append(overlay.panelHeight()); });
    bar.program.startInterview(someId);
    QCOMPARE(heights, QList<double>{OverlayViewModel::expandedHeight});

    // An answer that ends one kind of content and begins another does not make the window jump.
    bar.program.completion().setIsResponsePopoverOpen(false);
    bar.program.serverSays(R"({"type":"chat_chunk","content":"Hello"})");
    bar.program.interview().stopInterview();
    bar.program.settle();
    QCOMPARE(heights, (QList<double>{OverlayViewModel::expandedHeight, OverlayViewModel::collapsedHeight}));

    // A dialog needs room, and leaves it behind.
    bar.presenter.askToQuit();
    bar.program.settle();
    QCOMPARE(bar.height(), OverlayViewModel::expandedHeight);
    overlay.collapsePanel();
    bar.program.completion().setIsResponsePopoverOpen(true);
    bar.program.settle();
    QCOMPARE(bar.height(), OverlayViewModel::collapsedHeight);
    overlay.expandPanel();
    bar.presenter.pressDialogButton(0);
    bar.program.settle();
    QCOMPARE(bar.height(), OverlayViewModel::expandedHeight);
}

void OverlayBarTest::theStopDialogGoesFirst() {
    Bar bar;
    auto& presenter = bar.presenter;
    presenter.askToQuit();
    bar.program.settle();
    QCOMPARE(presenter.dialogTitle(), "Quit application?");
    QVERIFY(presenter.dialogBody().isEmpty() && !presenter.onboardingStripVisible());
    bar.program.startInterview(someId);
    QCOMPARE(presenter.dialogBody(), "The active interview will be stopped.");
    bar.program.interview().setShowStopDialog(true);
    bar.program.settle();
    QCOMPARE(presenter.dialogTitle(), "Pause or finish?");
    presenter.pressDialogButton(0);
    bar.program.settle();
    QCOMPARE(presenter.dialogButtons(), QStringList({"Cancel", "Quit"}));
    presenter.pressDialogButton(1);
    QCOMPARE(bar.models.windows.calls, QStringList("terminate"));
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
    bar.program.startInterview(someId);
    bar.presenter.audioControl()->press();
    bar.program.settle();
    QCOMPARE(bar.presenter.dialogButtons().value(button), QString(QTest::currentDataTag()));
    bar.presenter.pressDialogButton(button);
    bar.program.settle();
    QCOMPARE(bar.program.interview().status(), status);
    QVERIFY(!bar.presenter.showingDialog());
    QCOMPARE(bar.presenter.showsResponse(), status != InterviewStatus::idle);
}

void OverlayBarTest::theStripShowsOnceOnly_data() {
    const auto row = rows<bool, QStringList>();
    row("watched", true, {videoUrl});
    row("dismissed", false, {});
}

void OverlayBarTest::theStripShowsOnceOnly() {
    const auto [watches, opened] = currentRow<bool, QStringList>();
    Bar bar;
    QVERIFY(bar.presenter.onboardingStripVisible());
    if (watches) {
        bar.presenter.watchOnboardingVideo();
    } else {
        bar.presenter.dismissOnboarding();
    }
    bar.program.settle();
    QCOMPARE(bar.program.access->opened, opened);
    QVERIFY(!bar.presenter.onboardingStripVisible());
    QCOMPARE(bar.program.defaults->boolean("hasSeenOnboardingVideo"), std::optional(true));
    OverlayBarPresenter next(bar.program.completion(), *bar.models.overlay, bar.program.interview(),
                             *bar.models.settings, bar.models.webSocket(), bar.models.windows,
                             *bar.program.access, *bar.program.defaults, *bar.program.clock, videoUrl);
    QVERIFY(!next.onboardingStripVisible());
}

QTEST_GUILESS_MAIN(OverlayBarTest)
#include "OverlayBarTest.moc"
