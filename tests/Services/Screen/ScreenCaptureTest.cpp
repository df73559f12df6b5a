#include "Services/DatabaseService.h"
#include "Services/ScreenCaptureService.h"
#include "ViewModels/SettingsViewModel.h"
#include "tests/Support/Pattern.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QSignalSpy>

using namespace corvane;

namespace {

platform::ScreenPicture screenPicture(int screen, QSize points, double scale) {
    return {patternImage(QRect(QPoint(1000 * screen, 0), points * scale)), points};
}

struct Desk : SessionProgram {
    explicit Desk(ScreenshotConfig config = {}, double scale = 1) {
        app->settingsViewModel().setScreenshotConfig(config);
        screens->pictures = {screenPicture(0, {300, 200}, scale), screenPicture(1, {200, 400}, scale)};
    }
    ScreenCaptureService& service() { return app->screenCaptureService(); }
    size_t dimmedScreens() { return service().overlayWindows().size(); }
    void select(const QRectF& rect, int screen) {
        service().overlayWindows().front()->onSelectionComplete(rect, screen);
    }
};

} // namespace

class ScreenCaptureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void thePictureIsWhatWasSelected_data() {
        const auto row = rows<double, int, QRectF, QSize, QRect>();
        row("1x", 1, 0, {10, 20, 100, 50}, {200, 100}, {10, 20, 100, 50});
        row("2x", 2, 0, {10, 20, 100, 50}, {200, 100}, {20, 40, 200, 100});
        row("3x", 3, 1, {10, 20, 100, 50}, {200, 100}, {});
        row("second screen", 1, 1, {10, 300, 6, 6}, {12, 12}, {10, 300, 6, 6});
        row("halves", 2, 0, {0.5, 0.5, 100.5, 50.5}, {200, 100}, {1, 1, 200, 100});
        row("beyond the top left corner", 1, 0, {-30, -20, 50, 40}, {40, 40}, {0, 0, 20, 20});
        row("beyond the bottom right corner", 2, 1, {190, 390, 50, 40}, {20, 20}, {380, 780, 20, 20});
        row("the whole screen", 2, 1, {0, 0, 200, 400}, {400, 800}, {0, 0, 400, 800});
    }

    void thePictureIsWhatWasSelected() {
        const auto [scale, screen, rect, size, pixels] = currentRow<double, int, QRectF, QSize, QRect>();
        Desk desk({}, scale);
        QSignalSpy captured(&desk.service(), &ScreenCaptureService::selectionCaptured);
        desk.service().triggerScreenshot();
        QCOMPARE(desk.dimmedScreens(), size_t(2));
        desk.select(rect, screen);
        QVERIFY(waitUntil([&] { return !captured.isEmpty(); }));
        const auto picture = QImage::fromData(captured.first().first().toByteArray());
        QCOMPARE(picture.size(), size);
        if (pixels.isValid()) {
            QCOMPARE(picture.scaled(pixels.size()), patternImage(pixels.translated(1000 * screen, 0)));
        }
        QCOMPARE(desk.dimmedScreens(), size_t(0));
    }

    void aSelectionEndsOnce() {
        Desk desk;
        auto& service = desk.service();
        QSignalSpy captured(&service, &ScreenCaptureService::selectionCaptured);
        QSignalSpy cancelled(&service, &ScreenCaptureService::captureCancelled);
        service.triggerScreenshot();
        // No such screen: the selection goes on.
        desk.select({0, 0, 10, 10}, 2);
        QCOMPARE(desk.dimmedScreens(), size_t(2));
        desk.select({0, 0, 10, 10}, 0);
        desk.select({0, 0, 20, 20}, 1);
        QVERIFY(waitUntil([&] { return desk.dimmedScreens() == 0; }));
        QCOMPARE(captured.size(), 1);
        QCOMPARE(cancelled.size(), 0);

        // Cancelled while the picture is being made. Its own window ends with its own event.
        desk.clock->advance(std::chrono::seconds(1));
        service.triggerScreenshot();
        QCOMPARE(desk.dimmedScreens(), size_t(2));
        desk.select({0, 0, 10, 10}, 0);
        service.overlayWindows().back()->onCancel();
        QCOMPARE(desk.dimmedScreens(), size_t(0));
        // The next picture is the second.
        desk.advance(std::chrono::seconds(1));
        service.triggerScreenshot();
        desk.select({0, 0, 30, 30}, 0);
        QVERIFY(waitUntil([&] { return captured.size() == 2; }));
        QCOMPARE(QImage::fromData(captured.last().first().toByteArray()).width(), 60);
        QCOMPARE(cancelled.size(), 1);
    }

    void aSecondTriggerStartsAgainOnceTheScreensAreDrawn() {
        Desk desk;
        auto& service = desk.service();
        service.triggerScreenshot();
        service.triggerScreenshot();
        QCOMPARE(desk.dimmedScreens(), size_t(0));
        // A third, in the meantime.
        service.triggerScreenshot();
        QCOMPARE(desk.screens->grabs, 1);
        desk.advance(std::chrono::milliseconds(250));
        QCOMPARE(desk.dimmedScreens(), size_t(2));
        // A picture that was finished is not lost to the next selection.
        QSignalSpy captured(&service, &ScreenCaptureService::selectionCaptured);
        desk.select({0, 0, 10, 10}, 0);
        service.triggerScreenshot();
        desk.clock->advance(std::chrono::milliseconds(250));
        QVERIFY(waitUntil([&] { return captured.size() == 1; }));
        QCOMPARE(desk.dimmedScreens(), size_t(2));
    }

    void thePictureGoesWithThePromptOrToTheClipboard() {
        Desk desk({.mode = ScreenshotMode::auto_, .autoPrompt = "What is this?"}, 2);
        QByteArray png;
        connect(&desk.service(), &ScreenCaptureService::screenshotCaptured, this,
                [&](const QByteArray& data) { png = data; });
        desk.completion().setInput("half a sentence");
        desk.service().triggerScreenshot();
        QVERIFY(waitUntil([&] { return desk.notifications->shown.size() == 1; }));
        QVERIFY(desk.notifications->shown.last().startsWith("Screenshot added to the chat"));
        QCOMPARE(QImage::fromData(png), desk.screens->pictures.first().image);
        QCOMPARE(desk.completion().input(), "half a sentence");
        const auto message =
            desk.app->databaseService().getMessages(*desk.completion().currentConversationId()).first();
        QCOMPARE(message.content, "What is this?");
        const auto files = message.decodedAttachments();
        QCOMPARE(files.size(), 1);
        QCOMPARE(files.first().type, "image/png");
        QCOMPARE(QByteArray::fromBase64(files.first().base64.toLatin1()), png);
        QCOMPARE(files.first().size, png.size());
        QVERIFY(desk.clipboard->picture.isEmpty());

        desk.app->settingsViewModel().setScreenshotConfig({.mode = ScreenshotMode::auto_, .enabled = false});
        desk.service().triggerScreenshot();
        QVERIFY(waitUntil([&] { return desk.notifications->shown.size() == 2; }));
        QVERIFY(desk.notifications->shown.last().startsWith("Screenshot copied"));
        QCOMPARE(desk.clipboard->picture, png);
        QCOMPARE(desk.app->databaseService().getMessageCount(*desk.completion().currentConversationId()), 1);
    }

    void aPictureLeavesAnInterviewAlone() {
        for (const bool streams : {false, true}) { // before the questions, or with an assessment under way
            Desk desk({.mode = ScreenshotMode::auto_, .autoPrompt = "What is this?"});
            desk.askForInterview("abc");
            if (streams) {
                desk.serverSays(R"({"type":"chat_questions","questions":{"A":[{"question":"Why?"}]}})");
                desk.serverSays(R"({"type":"assessment_chunk","text":"Good"})");
            }
            auto& completion = desk.completion();
            const auto before = std::tuple(completion.assessmentText(), completion.isLoading());
            desk.service().triggerScreenshot();
            QVERIFY(waitUntil([&] { return desk.notifications->shown.size() == 1; }));
            desk.settle();
            QVERIFY(desk.notifications->shown.last().startsWith("Screenshot kept with the conversation"));
            QCOMPARE(desk.commands("chat").size(), 1);
            QCOMPARE(desk.interview().status(),
                     streams ? InterviewStatus::streaming : InterviewStatus::waitingForQuestions);
            QCOMPARE(std::tuple(completion.assessmentText(), completion.isLoading()), before);
            const auto stored =
                desk.app->databaseService().getMessages(*completion.currentConversationId()).last();
            QCOMPARE(stored.decodedAttachments().size(), 1);
        }
    }

    void aFailureIsLoggedAndShown() {
        for (const auto& [mode, error, text] :
             {std::tuple(ScreenshotMode::auto_, "Not allowed", "Not allowed"),
              {ScreenshotMode::manual, "Not allowed", "Not allowed"},
              {ScreenshotMode::auto_, "", "No display found"}}) {
            Desk desk({.mode = mode});
            desk.screens->error = error;
            desk.screens->pictures.clear();
            desk.service().triggerScreenshot();
            QCOMPARE(desk.notifications->shown, QStringList(QString("No screenshot was taken: ") + text));
            QVERIFY(desk.log.standardOutputLines().contains(QString("[ScreenCapture] Error: ") + text));
            QCOMPARE(desk.dimmedScreens(), size_t(0));
        }
    }
};

QTEST_GUILESS_MAIN(ScreenCaptureTest)
#include "ScreenCaptureTest.moc"
