#include "DatabaseService.h"
#include "TestProgram.h"

#include <QTest>

namespace {

QByteArray chunk(const char* type, const QString& text) {
    return QStringLiteral(R"({"type":"%1","text":"%2"})").arg(QLatin1String(type), text).toUtf8();
}

} // namespace

class CompletionViewModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void blanksAreNotSubmitted();
    void aMessageIsStoredAndSent();
    void theNextStreamReplacesTheFinishedOne();
    void theReplyIsStoredAndNamesTheConversation_data();
    void theReplyIsStoredAndNamesTheConversation();
    void theAssessmentIsStaleWhileTheCandidateSpeaks();
    void theStatusLineFollowsTheServersStage_data();
    void theStatusLineFollowsTheServersStage();
    void failuresToSendAreShown();
};

void CompletionViewModelTest::blanksAreNotSubmitted() {
    TestProgram program;
    program.launchToSession();
    program.completion().setInput(QStringLiteral(" \n "));
    program.completion().submit();
    QVERIFY(!program.completion().isLoading());
    QVERIFY(!program.completion().currentConversationId());
    QCOMPARE(program.completion().input(), QStringLiteral(" \n "));
}

void CompletionViewModelTest::aMessageIsStoredAndSent() {
    TestProgram program;
    program.launchToSession();
    auto& completion = program.completion();
    completion.setAttachedFiles({{.id = QStringLiteral("1"),
                                  .name = QStringLiteral("a.png"),
                                  .type = QStringLiteral("image/png"),
                                  .base64 = QStringLiteral("AA=="),
                                  .size = 1}});
    completion.setInput(QStringLiteral("  Hello  "));
    completion.submit();
    QVERIFY(completion.isLoading() && completion.isResponsePopoverOpen() && completion.input().isEmpty());
    QVERIFY(completion.attachedFiles().isEmpty());
    program.settle();
    QCOMPARE(program.commands("chat").size(), 1);

    auto& database = program.app->databaseService();
    const auto conversations = database.getAllConversations();
    QCOMPARE(conversations.size(), 1);
    QCOMPARE(conversations.first().title, QStringLiteral("New Chat"));
    const auto messages = database.getMessages(*completion.currentConversationId());
    QCOMPARE(messages.size(), 1);
    QCOMPARE(messages.first().content, QStringLiteral("Hello"));
    QCOMPARE(messages.first().decodedAttachments().first().name, QStringLiteral("a.png"));

    // One conversation a run.
    completion.setInput(QStringLiteral("Again"));
    completion.submit();
    QCOMPARE(database.getAllConversations().size(), 1);
    QCOMPARE(database.getMessageCount(*completion.currentConversationId()), 2);
}

void CompletionViewModelTest::theNextStreamReplacesTheFinishedOne() {
    TestProgram program;
    program.launchToSession();
    auto& completion = program.completion();
    for (const auto& [chunkType, doneType, text] :
         {std::tuple{"chat_chunk", "chat_done", &CompletionViewModel::response},
          std::tuple{"assessment_chunk", "assessment_done", &CompletionViewModel::assessmentText},
          std::tuple{"assessment_chunk", "assessment", &CompletionViewModel::assessmentText}}) {
        const auto done = QStringLiteral(R"({"type":"%1"})").arg(QLatin1String(doneType)).toUtf8();
        program.serverSays(chunk(chunkType, QStringLiteral("a")));
        program.serverSays(chunk(chunkType, QStringLiteral("b")));
        QCOMPARE((completion.*text)(), QStringLiteral("ab"));
        program.serverSays(done);
        QCOMPARE((completion.*text)(), QStringLiteral("ab"));
        QVERIFY(!completion.isAssessmentStreaming());
        program.serverSays(chunk(chunkType, QStringLiteral("c")));
        QCOMPARE((completion.*text)(), QStringLiteral("c"));
        program.serverSays(done);
    }
}

void CompletionViewModelTest::theReplyIsStoredAndNamesTheConversation_data() {
    QTest::addColumn<QString>("reply");
    QTest::addColumn<QString>("title");
    QTest::newRow("short, with a line feed") << "One\ntwo"
                                             << "One two";
    // Family of four people joined into one character: never cut.
    const auto family = QString::fromUtf8("\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466");
    QTest::newRow("counted as people see characters") << family.repeated(60) << family.repeated(50);
    QTest::newRow("combining accents")
        << QStringLiteral("e\u0301").repeated(51) << QStringLiteral("e\u0301").repeated(50);
}

void CompletionViewModelTest::theReplyIsStoredAndNamesTheConversation() {
    QFETCH(QString, reply);
    QFETCH(QString, title);
    TestProgram program;
    program.launchToSession();
    auto& database = program.app->databaseService();
    program.serverSays(R"({"type":"chat_done"})");
    QVERIFY(database.getAllConversations().isEmpty());

    program.completion().setInput(QStringLiteral("Hello"));
    program.completion().submit();
    program.serverSays(R"({"type":"chat_done"})");
    QCOMPARE(database.getMessageCount(*program.completion().currentConversationId()), 1);
    auto escaped = reply;
    program.serverSays(chunk("chat_chunk", escaped.replace(u'\n', QStringLiteral("\\n"))));
    program.clock->advance(std::chrono::seconds(1));
    program.serverSays(R"({"type":"chat_done"})");
    QVERIFY(!program.completion().isLoading());
    QCOMPARE(database.getAllConversations().first().title, title);
    const auto stored = database.getMessages(*program.completion().currentConversationId()).last();
    QCOMPARE(stored.content, reply);
    QCOMPARE(stored.role, MessageRole::assistant);
}

void CompletionViewModelTest::theAssessmentIsStaleWhileTheCandidateSpeaks() {
    TestProgram program;
    program.launchToSession();
    auto& completion = program.completion();
    program.serverSays(R"({"type":"candidate_speaking"})");
    program.serverSays(chunk("assessment_chunk", QStringLiteral("a")));
    QVERIFY(completion.assessmentIsStale() && completion.isAssessmentStreaming());
    program.serverSays(R"({"type":"candidate_stopped_speaking"})");
    program.serverSays(R"({"type":"assessment_done"})");
    QVERIFY(completion.assessmentIsStale());
    program.serverSays(chunk("assessment_chunk", QStringLiteral("b")));
    QVERIFY(!completion.assessmentIsStale());

    for (const auto* message :
         {R"({"type":"end_interview_ack"})", R"({"type":"session_resumed"})", R"({"type":"set_session"})"}) {
        program.serverSays(R"({"type":"candidate_speaking"})");
        QVERIFY(completion.assessmentIsStale());
        program.serverSays(message);
        QVERIFY(!completion.assessmentIsStale());
    }
}

void CompletionViewModelTest::theStatusLineFollowsTheServersStage_data() {
    QTest::addColumn<QString>("stage");
    QTest::addColumn<QString>("line");
    QTest::newRow("known") << "assessing"
                           << "Reviewing the answer...";
    QTest::newRow("two stages with the same words") << "building_prompt"
                                                    << "Preparing guidance...";
    QTest::newRow("unknown") << "brand_new"
                             << "Processing...";
}

void CompletionViewModelTest::theStatusLineFollowsTheServersStage() {
    QFETCH(QString, stage);
    QFETCH(QString, line);
    TestProgram program;
    program.launchToSession();
    const auto message = QStringLiteral(R"({"type":"processing_status","stage":"%1"})").arg(stage).toUtf8();
    for (const auto* clearing : {R"({"type":"chat_chunk","text":"a"})", R"({"type":"chat_done"})",
                                 R"({"type":"assessment_chunk","text":"a"})", R"({"type":"assessment_done"})",
                                 R"({"type":"chat_questions","questions":{}})"}) {
        program.serverSays(message);
        QCOMPARE(program.completion().processingStatusLine(), line);
        program.serverSays(clearing);
        QVERIFY(!program.completion().processingStatusText());
    }
}

void CompletionViewModelTest::failuresToSendAreShown() {
    TestProgram program;
    program.launch(); // the socket has not opened yet, but it exists: break it
    program.peer().breakConnection();
    program.settle();
    program.peer().setSendError(
        platform::WebSocketError(platform::WebSocketError::Kind::notConnected, QStringLiteral("offline")));
    program.completion().setInput(QStringLiteral("Hello"));
    program.completion().submit();
    program.settle();
    QCOMPARE(program.completion().errorText(), QStringLiteral("offline"));
    QVERIFY(!program.completion().isLoading());

    program.defaults->setBoolean(QStringLiteral("corvane_api_enabled"), false);
    program.completion().setInput(QStringLiteral("Hello"));
    program.completion().submit();
    program.settle();
    QCOMPARE(program.completion().errorText(), QStringLiteral("Invalid API configuration"));
    QVERIFY(!program.completion().isLoading());
}

QTEST_GUILESS_MAIN(CompletionViewModelTest)
#include "CompletionViewModelTest.moc"
