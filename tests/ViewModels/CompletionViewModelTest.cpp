#include "Services/DatabaseService.h"
#include "tests/Services/Provider/ProviderEntries.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

using namespace corvane;

namespace {

QByteArray chunk(const char* type, const QString& text) {
    return QStringLiteral(R"({"type":"%1","text":"%2"})").arg(QLatin1String(type), text).toUtf8();
}

void submit(TestProgram& program, const char* input) {
    program.completion().setInput(input);
    program.completion().submit();
    program.settle();
}

} // namespace

class CompletionViewModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aMessageIsStoredAndSent() {
        SessionProgram program;
        auto& completion = program.completion();
        submit(program, " \n ");
        QVERIFY(!completion.isLoading() && !completion.currentConversationId());
        QCOMPARE(completion.input(), " \n ");

        completion.setAttachedFiles({{"1", "a.png", "image/png", "AA==", 1}});
        submit(program, "  Hello  ");
        QVERIFY(completion.isLoading() && completion.isResponsePopoverOpen() && completion.input().isEmpty());
        QVERIFY(completion.attachedFiles().isEmpty());
        QCOMPARE(program.commands("chat").size(), 1);

        auto& database = program.app->databaseService();
        const auto conversations = database.getAllConversations();
        QCOMPARE(conversations.size(), 1);
        QCOMPARE(conversations.first().title, "New Chat");
        const auto messages = database.getMessages(*completion.currentConversationId());
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages.first().content, "Hello");
        QCOMPARE(messages.first().decodedAttachments().first().name, "a.png");

        // One conversation a run.
        submit(program, "Again");
        QCOMPARE(database.getAllConversations().size(), 1);
        QCOMPARE(database.getMessageCount(*completion.currentConversationId()), 2);
    }

    void theNextStreamReplacesTheFinishedOne() {
        SessionProgram program;
        auto& completion = program.completion();
        for (const auto& [chunkType, doneType, text] :
             {std::tuple{"chat_chunk", "chat_done", &CompletionViewModel::response},
              std::tuple{"assessment_chunk", "assessment_done", &CompletionViewModel::assessmentText},
              std::tuple{"assessment_chunk", "assessment", &CompletionViewModel::assessmentText}}) {
            const auto done = QStringLiteral(R"({"type":"%1"})").arg(QLatin1String(doneType)).toUtf8();
            program.serverSays(chunk(chunkType, "a"));
            program.serverSays(chunk(chunkType, "b"));
            QCOMPARE((completion.*text)(), "ab");
            program.serverSays(done);
            QCOMPARE((completion.*text)(), "ab");
            QVERIFY(!completion.isAssessmentStreaming());
            program.serverSays(chunk(chunkType, "c"));
            QCOMPARE((completion.*text)(), "c");
            program.serverSays(done);
        }
    }

    void theReplyIsStoredAndNamesTheConversation_data() {
        const auto row = rows<QString, QString>();
        row("short, with a line feed", "One\ntwo", "One two");
        // Family of four people joined into one character: never cut.
        const auto family = QString::fromUtf8("\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466");
        row("counted as people see characters", family.repeated(60), family.repeated(50));
        row("combining accents", QStringLiteral("e\u0301").repeated(51),
            QStringLiteral("e\u0301").repeated(50));
    }
    void theReplyIsStoredAndNamesTheConversation() {
        const auto [reply, title] = currentRow<QString, QString>();
        SessionProgram program;
        auto& database = program.app->databaseService();
        program.serverSays(R"({"type":"chat_done"})");
        QVERIFY(database.getAllConversations().isEmpty());

        submit(program, "Hello");
        program.serverSays(R"({"type":"chat_done"})");
        QCOMPARE(database.getMessageCount(*program.completion().currentConversationId()), 1);
        auto escaped = reply;
        program.serverSays(chunk("chat_chunk", escaped.replace(u'\n', "\\n")));
        program.clock->advance(std::chrono::seconds(1));
        program.serverSays(R"({"type":"chat_done"})");
        QVERIFY(!program.completion().isLoading());
        QCOMPARE(database.getAllConversations().first().title, title);
        const auto stored = database.getMessages(*program.completion().currentConversationId()).last();
        QCOMPARE(stored.content, reply);
        QCOMPARE(stored.role, MessageRole::assistant);
    }

    void theAssessmentIsStaleWhileTheCandidateSpeaks() {
        SessionProgram program;
        auto& completion = program.completion();
        program.serverSays(R"({"type":"candidate_speaking"})");
        program.serverSays(chunk("assessment_chunk", "a"));
        QVERIFY(completion.assessmentIsStale() && completion.isAssessmentStreaming());
        program.serverSays(R"({"type":"candidate_stopped_speaking"})");
        program.serverSays(R"({"type":"assessment_done"})");
        QVERIFY(completion.assessmentIsStale());
        program.serverSays(chunk("assessment_chunk", "b"));
        QVERIFY(!completion.assessmentIsStale());

        for (const auto* message : {R"({"type":"end_interview_ack"})", R"({"type":"session_resumed"})",
                                    R"({"type":"set_session"})"}) {
            program.serverSays(R"({"type":"candidate_speaking"})");
            QVERIFY(completion.assessmentIsStale());
            program.serverSays(message);
            QVERIFY(!completion.assessmentIsStale());
        }
    }

    void theStatusLineFollowsTheServersStage() {
        SessionProgram program;
        auto& completion = program.completion();
        for (const auto* clearing :
             {R"({"type":"chat_chunk","text":"a"})", R"({"type":"chat_done"})",
              R"({"type":"assessment_chunk","text":"a"})", R"({"type":"assessment_done"})",
              R"({"type":"chat_questions","questions":{}})"}) {
            program.serverSays(R"({"type":"processing_status","stage":"assessing"})");
            QCOMPARE(completion.processingStatusLine(), "Reviewing the answer...");
            program.serverSays(R"({"type":"processing_status","stage":"brand_new"})");
            QCOMPARE(completion.processingStatusLine(), "Processing...");
            program.serverSays(clearing);
            QVERIFY(!completion.processingStatusText());
        }
    }

    void messagesAreStoredThoughTheirConversationCouldNotBe() {
        SessionProgram program;
        submit(program, "Lost");
        auto& database = program.app->databaseService();
        const auto id = *program.completion().currentConversationId();
        database.deleteConversation(id); // as if the disk had been full
        submit(program, "Kept");
        QCOMPARE(database.getMessageCount(id), 1);
        program.serverSays(chunk("chat_chunk", "A reply"));
        program.serverSays(R"({"type":"chat_done"})");
        QCOMPARE(database.getMessageCount(id), 2);
        QCOMPARE(database.getConversation(id)->title, "A reply");
    }

    void failuresToSendAreShown() {
        TestProgram program;
        program.launch(); // the socket has not opened yet, but it exists: break it
        program.loseLink();
        submit(program, "Hello");
        QCOMPARE(program.completion().errorText(), "The connection was lost.");
        QVERIFY(!program.completion().isLoading());
    }

    void aProviderOfTheUsersOwnAnswers() {
        SessionProgram program;
        chooseProvider(*program.defaults, "https://a.test", "/c", "key-1");
        program.backendHttp->clearRequests();
        const QByteArray event = R"(data: {"choices":[{"delta":{"content":"%1"}}]})";
        program.backendHttp->answer(200, QByteArray(event).replace("%1", "One") + "\n\n" +
                                             QByteArray(event).replace("%1", " two") + "\n\n");
        program.completion().setAttachedFiles({{"1", "a.png", "image/png", "AA==", 1}});
        submit(program, "Hello");
        auto& database = program.app->databaseService();
        QCOMPARE(program.completion().response(), "One two");
        QVERIFY(!program.completion().isLoading() && !program.completion().error());
        QVERIFY(program.completion().attachedFiles().isEmpty());
        QCOMPARE(database.getAllConversations().first().title, "One two");
        QVERIFY(program.commands("chat").isEmpty());

        // Nothing came, nothing is stored; a second message is a question of its own.
        program.backendHttp->answer(500, "no event");
        submit(program, "Again");
        QCOMPARE(program.backendHttp->requests().size(), 2);
        QVERIFY(!program.backendHttp->requests().last().body->contains("Hello"));
        QVERIFY(program.completion().response().isEmpty() && !program.completion().error());
        QCOMPARE(database.getMessageCount(*program.completion().currentConversationId()), 3);
        QVERIFY(!program.log.contains("key-1"));
    }

    void aProvidersFailureIsShown() {
        SessionProgram program;
        program.defaults->setBool("corvane_api_enabled", false);
        submit(program, "Hello");
        QCOMPARE(program.completion().errorText(), "Invalid API configuration");
        QVERIFY(!program.completion().isLoading());

        chooseProvider(*program.defaults, "https://a.test", "/c");
        program.backendHttp->fail(platform::HttpError::Kind::connectionLost);
        submit(program, "Hello");
        QCOMPARE(program.completion().errorText(), "scripted failure");
        QVERIFY(!program.completion().isLoading());
    }
};

QTEST_GUILESS_MAIN(CompletionViewModelTest)
#include "CompletionViewModelTest.moc"
