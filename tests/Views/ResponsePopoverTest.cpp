#include "ViewModels/SettingsViewModel.h"
#include "Views/Overlay/ResponsePopoverPresenter.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTimer>

using namespace corvane;

namespace {

constexpr auto questions =
    R"x({"type":"chat_questions","questions":{"Design [x]":[{"question":"**Why**? [1]","justification":"Depth"},)x"
    R"x({"question":"How?"}]}})x";
constexpr auto oneTopic = R"({"type":"chat_interview_plan","plan":{"A":[]}})";
constexpr auto plan =
    R"x({"type":"chat_interview_plan","plan":{"A ( )":[{"question":"Why?"},{"question":"How? [1]"}],"B":[]}})x";

QByteArray said(const char* type, const QString& text) {
    return QString(R"({"type":"%1","text":"%2"})").arg(type, text).toUtf8();
}

struct Popover {
    SessionProgram program;
    ResponsePopoverPresenter presenter{program.completion(), program.interview(),
                                       program.app->settingsViewModel(), *program.access};

    // Messages of the server, and "assess" for a switch to the assessment.
    void play(const QList<QByteArray>& messages) {
        for (const auto& message : messages) {
            message == "assess" ? program.interview().toggleFollowUps() : program.serverSays(message);
        }
        program.settle();
        // Due after the presenter's own timer, however slow the machine is.
        QEventLoop frame;
        QTimer::singleShot(std::chrono::milliseconds(20), Qt::PreciseTimer, &frame, &QEventLoop::quit);
        frame.exec();
    }
};

// The popover in a window.
struct PopoverView : Popover {
    PopoverView() {
        view.engine()->addImportPath("qrc:/qt/qml");
        view.setResizeMode(QQuickView::SizeRootObjectToView);
        view.setInitialProperties({{"presenter", QVariant::fromValue(&presenter)}});
        view.setSource(QUrl("qrc:/qt/qml/Corvane/Overlay/ResponsePopoverView.qml"));
        view.resize(620, 652);
        view.show();
    }
    QQuickItem* list() const { return view.rootObject()->findChild<QQuickItem*>("assistantList"); }
    // Rows that have been made, the list's header and footer too.
    qsizetype rowsThatExist() const {
        return list()->property("contentItem").value<QQuickItem*>()->childItems().size();
    }

    QQuickView view;
};

} // namespace

class ResponsePopoverTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatIsShown_data() {
        using Messages = QList<QByteArray>;
        // Info section, position, headline, content, what the content says.
        const auto row = rows<Messages, QStringList>();
        row("nothing yet", {}, {"", "", "", "empty", "Waiting for interview"});
        row("questions", {"assess", questions},
            {"questions", "Question 1 of 2", "**Why**?", "empty", "Assessment will appear here"});
        row("a reply beside questions does not count", {"assess", questions, said("chat_chunk", "Hello")},
            {"questions", "Question 1 of 2", "**Why**?", "empty", "Assessment will appear here"});
        row("a reply", {said("chat_chunk", " Hello ")}, {"", "", "", "assistant", "Hello"});
        row("blanks do not count", {said("chat_chunk", " \\n "), said("assessment_chunk", "\\n")},
            {"", "", "", "empty", "Waiting for interview"});
        row("the server works", {R"({"type":"processing_status","stage":"thinking"})"},
            {"", "", "", "working", "Working..."});
        row("an assessment", {"assess", questions, said("assessment_chunk", "Comment\\nGood")},
            {"questions", "Question 1 of 2", "**Why**?", "assistant", "Comment: Good"});
        row("a header alone is content", {said("assessment_chunk", "Comment")},
            {"", "", "", "assistant", ""});
        row("the plan goes before an assessment", {said("assessment_chunk", "Good"), plan},
            {"plan", "Topic 1 of 2", "A", "planQuestions", "1. Why?\n\n2. How? [1]"});
        row("a topic without questions", {oneTopic}, {"plan", "Topic 1 of 1", "A", "planQuestions", ""});
        row("the assessment behind the plan", {said("assessment_chunk", "Good"), plan, "assess"},
            {"", "", "", "assistant", "Assessment: Good"});
    }

    void whatIsShown() {
        const auto [messages, expected] = currentRow<QList<QByteArray>, QStringList>();
        Popover popover;
        popover.play(messages);
        const auto& presenter = popover.presenter;
        QStringList says;
        if (presenter.content() == "assistant") {
            const auto* cards = popover.presenter.cards();
            if (cards->rowCount() > cards->assessmentSections().size()) {
                says.append(cards->note());
            }
            for (const auto& section : cards->assessmentSections()) {
                says.append(assessmentCard(section.kind).title + QString(": ") + section.text);
            }
        } else {
            says.append(presenter.content() == "working" ? presenter.workingText()
                        : presenter.content() == "empty" ? presenter.emptyTitle()
                                                         : presenter.planQuestions());
        }
        QCOMPARE((QStringList{presenter.infoSection(), presenter.position(), presenter.headline(),
                              presenter.content(), says.join(u'|')}),
                 expected);
        QCOMPARE(presenter.isAssistantWorking(), presenter.content() == "working");
    }

    void whatGoesWrongIsSaid_data() {
        using Work = std::function<void(TestProgram&)>;
        const auto row = rows<Work, QString, QString>();
        const auto lost = QStringLiteral("Connection lost during the interview");
        const Work none = [](TestProgram&) {};
        const Work losesLink = [](TestProgram& program) { program.loseLink(); };
        const Work goesOn = [](TestProgram& program) {
            program.loseLink();
            program.interview().resumeInterview();
        };
        const Work next = [](TestProgram& program) {
            program.loseLink();
            program.interview().stopInterview();
            program.reopenLink(R"({"type":"session_resumed"})");
            program.startInterview("second");
        };
        const Work losesMicrophone = [](TestProgram& program) {
            program.audio->failMicrophone("unplugged");
            program.settle();
        };
        const Work comesBack = [=](TestProgram& program) {
            losesMicrophone(program);
            program.clock->advance(std::chrono::seconds(2));
        };
        const Work pauses = [=](TestProgram& program) {
            losesMicrophone(program);
            program.interview().pauseInterview();
        };
        row("nothing", none, "", "");
        row("a lost link", losesLink, lost, "The interview is paused.");
        row("gone on without the link", goesOn, lost, "The server may not have heard");
        row("the next interview", next, "", "");
        row("a lost microphone", losesMicrophone, "Your microphone is not captured",
            "The candidate is still heard.");
        row("one that came back", comesBack, "", "");
        row("paused without it", pauses, "", "");
    }

    void whatGoesWrongIsSaid() {
        const auto [work, title, text] = currentRow<std::function<void(TestProgram&)>, QString, QString>();
        Popover popover;
        popover.program.startInterview();
        work(popover.program);
        popover.play({});
        QCOMPARE(popover.presenter.noticeTitle(), title);
        QVERIFY2(popover.presenter.noticeText().startsWith(text), qPrintable(popover.presenter.noticeText()));
    }

    void aStartThatFailedCanBeGivenUp() {
        Popover popover;
        auto& program = popover.program;
        program.peer().setSendError(
            platform::WebSocketError(platform::WebSocketError::Kind::notConnected, "offline"));
        program.askForInterview("abc");
        popover.play({});
        QVERIFY(popover.presenter.hasError() && popover.presenter.canGiveUp());
        popover.presenter.giveUp();
        popover.play({});
        QCOMPARE(program.interview().status(), InterviewStatus::idle);
        QCOMPARE(program.interview().interviewId(), "abc");
        QVERIFY(!popover.presenter.hasError() && !popover.presenter.canGiveUp());
        // What still comes for it starts no sound.
        program.serverSays(questions);
        QVERIFY(program.interview().status() == InterviewStatus::idle && program.isSilent());
        program.peer().setSendError({});
        program.startInterview();
        QCOMPARE(program.interview().status(), InterviewStatus::streaming);
    }

    void navigationStaysWithinItsRange() {
        Popover popover;
        auto& presenter = popover.presenter;
        const auto buttons = [&] {
            return std::tuple(presenter.navigable(), presenter.canGoBack(), presenter.canGoForward());
        };
        popover.play({oneTopic});
        QCOMPARE(buttons(), std::tuple(false, false, false));
        popover.play({plan});
        QCOMPARE(buttons(), std::tuple(true, false, true));
        popover.program.interview().setActivePlanTopicIndex(7);
        popover.play({});
        QCOMPARE(presenter.position(), "Topic 2 of 2");
        QCOMPARE(buttons(), std::tuple(true, true, false));
        presenter.goForward();
        QCOMPARE(popover.program.interview().activePlanTopicIndex(), 1);
        presenter.goBack();
        presenter.goBack();
        QCOMPARE(popover.program.interview().activePlanTopicIndex(), 0);

        popover.play({"assess", questions});
        presenter.goForward();
        popover.play({});
        QCOMPARE(presenter.position(), "Question 2 of 2");
        QCOMPARE(buttons(), std::tuple(true, true, false));
        presenter.goBack();
        popover.play({});
        QCOMPARE(presenter.chip(), "Design");
        QCOMPARE(presenter.justification(), "Depth");
        QCOMPARE(buttons(), std::tuple(true, false, true));
        QVERIFY(popover.program.commands("active_question").size() >= 2);
    }

    void textIsTakenUpOnceAFrameAndFollowed() {
        Popover popover;
        auto& presenter = popover.presenter;
        QSignalSpy scrolls(&presenter, &ResponsePopoverPresenter::scrollToBottomRequested);
        popover.play({said("candidate_speaking", ""), said("assessment_chunk", "Short")});
        QVERIFY(presenter.updating());
        QCOMPARE(presenter.assessmentOpacity(), 0.4);
        scrolls.clear();
        for (int i = 0; i < 50; ++i) {
            popover.program.peer().sendText(said("assessment_chunk", "er"));
        }
        popover.play({});
        QVERIFY(scrolls.size() >= 1 && scrolls.size() < 10);
        // A new assessment whose first piece is longer than all of the old one.
        const QString longer = QString("A new one ").repeated(30).trimmed();
        popover.play({R"({"type":"assessment_done"})", said("assessment_chunk", longer)});
        QCOMPARE(presenter.cards()->assessmentSections().first().text, longer);

        auto settings = popover.program.app->settingsViewModel().responseSettings();
        settings.autoScroll = false;
        popover.program.app->settingsViewModel().setResponseSettings(settings);
        scrolls.clear();
        popover.play({said("assessment_chunk", " more")});
        QCOMPARE(scrolls.size(), 0);
    }

    void manyCardsAreFollowedAndOnlyThoseNearExist() {
        PopoverView popover;
        auto& view = popover.view;
        popover.play({plan, "assess"});
        // Of very different heights, so that those out of sight can only be guessed at.
        QString text;
        for (int card = 0; card < 300; ++card) {
            text += QString("**%1:**\\n").arg(card % 2 ? "Comment" : "Recommendation") +
                    QString("A line.\\n").repeated(1 + card * 7 % 23);
        }
        popover.play({said("assessment_chunk", text)});
        auto* list = popover.list();
        QVERIFY(list && list->property("count").toInt() == 300);
        QTRY_VERIFY(list->property("contentY").toReal() > 50000);
        QTRY_COMPARE(list->property("contentY"), list->property("bottomY"));
        QVERIFY(popover.rowsThatExist() < 60);

        // Up to cards that are younger than those below them: Tab still goes down, and back up.
        view.requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        for (int page = 0; page < 40; ++page) {
            QMetaObject::invokeMethod(list, "scrollBy", Q_ARG(double, -500));
            popover.play({});
        }
        const auto row = [&] { return list->property("tabRow").toInt(); };
        const int first = row();
        QVERIFY(first > 0 && first < 290);
        QMetaObject::invokeMethod(list, "focusRow", Q_ARG(int, first), Q_ARG(int, Qt::TabFocusReason));
        for (const auto& [key, steps] : {std::pair(Qt::Key_Tab, 20), std::pair(Qt::Key_Backtab, 30)}) {
            for (int step = 1; step <= steps; ++step) {
                const int before = row();
                QTest::keyClick(&view, key);
                QCOMPARE(row(), before + (key == Qt::Key_Tab ? 1 : -1));
                QVERIFY(view.activeFocusItem() && view.activeFocusItem()->property("readOnly").toBool());
            }
        }
    }

    void aLineWithoutEndIsLaidOutWhereItIsSeen_data() {
        const auto row = rows<QByteArray, QString>();
        row("a reply", "chat_chunk", "word ");
        row("an assessment", "assessment_chunk", "word ");
        row("without a blank", "assessment_chunk", QString::fromUtf8("\U0001F600"));
    }

    void aLineWithoutEndIsLaidOutWhereItIsSeen() {
        const auto [type, word] = currentRow<QByteArray, QString>();
        PopoverView popover;
        const auto text = word.repeated(4'000'000 / word.size());
        popover.play({said(type, "A short line\\n"), said(type, text)});
        auto* cards = popover.presenter.cards();
        // A message of this length is read on another thread.
        QVERIFY(waitUntil([&] { return cards->rowCount() >= 400; }));
        QString shown;
        for (int row = 0; row < cards->rowCount(); ++row) {
            const auto* piece =
                cards->data(cards->index(row), AssistantCardsModel::streamRole).value<CardText*>();
            QVERIFY2(piece->text().size() <= 10'010 && // with the blanks at a seam
                         !piece->text().front().isLowSurrogate(),
                     qPrintable(QString("row %1 of %2 characters").arg(row).arg(piece->text().size())));
            QCOMPARE(cards->data(cards->index(row), AssistantCardsModel::startsCardRole).toBool(), row == 0);
            shown += piece->text();
        }
        QCOMPARE(shown.remove(' ').size(), QString("Ashortline\n" + text).remove(' ').size());
        QTRY_VERIFY(popover.list()->property("contentY").toReal() > 100'000);
        QVERIFY(popover.rowsThatExist() < 30);
    }

    void onlyLinksOfTheWebAndMailOpen() {
        Popover popover;
        for (const auto* address : {"https://a.b", "HTTP://a.b", "mailto:a@b", "file:///etc/passwd",
                                    "corvane://interview/x", "javascript:1", "/bin/sh", ""}) {
            popover.presenter.openLink(address);
        }
        QCOMPARE(popover.program.access->opened, (QStringList{"https://a.b", "HTTP://a.b", "mailto:a@b"}));
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    ResponsePopoverTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "ResponsePopoverTest.moc"
