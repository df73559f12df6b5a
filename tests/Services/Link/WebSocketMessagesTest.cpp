#include "WebSocketMessages.h"
#include "Json.h"
#include "LogCapture.h"
#include "Rows.h"

class WebSocketMessagesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void commandsOnTheWire() {
        const auto wire = [](const WSCommand& command) { return json::serializeSorted(command.toJson()); };
        QCOMPARE(wire(WSCommand::setSession("m-1")), R"({"session_id":"m-1","type":"set_session"})");
        QCOMPARE(wire(WSCommand::chat("a\n\u20ac")), "{\"message\":\"a\\n\u20ac\",\"type\":\"chat\"}");
        QCOMPARE(wire(WSCommand::interviewId("i")), R"({"id":"i","type":"interview_id"})");
        QCOMPARE(wire(WSCommand::activeQuestion(QString())), R"({"question":"","type":"active_question"})");
        QCOMPARE(wire(WSCommand::setFollowUps(true)), R"({"enabled":true,"type":"set_follow_ups"})");
        QCOMPARE(wire(WSCommand::setEnglishAssessment(false)),
                 R"({"enabled":false,"type":"set_english_assessment"})");
        QCOMPARE(wire(WSCommand::newChat()), R"({"type":"new_chat"})");
        QCOMPARE(wire(WSCommand::endInterview()), R"({"type":"end_interview"})");
        QCOMPARE(candidateSpeechStartFrame(), R"({"type":"candidate_speech_start"})");
        QCOMPARE(candidateSpeechStopFrame(1700000000000),
                 R"({"at":1700000000000,"type":"candidate_speech_stop"})");
    }

    void addressOfTheSocket_data() {
        const auto add = rows<QString, QString>();
        const auto row = [add](const char* baseURL, const char* address) { add(baseURL, baseURL, address); };
        row("https://b.example", "wss://b.example/ws");
        row("http://b.example:8000", "ws://b.example:8000/ws");
        row("https://b.example/", "wss://b.example//ws");
        row("https://b.example/v1?x=y", "wss://b.example/v1");
        row("wss://b.example", "wss://b.example/ws");
        row("http://[::1]:80", "ws://[::1]:80/ws");
        for (const char* unusable : {"b.example", "HTTPS://b.example", "ftp://b.example", "https://b example",
                                     "https://b.example:99999", "https://b.example/%zz"}) {
            row(unusable, "");
        }
    }
    void addressOfTheSocket() {
        const auto [baseURL, address] = currentRow<QString, QString>();
        const LogCapture log;
        const auto url = webSocketUrl(baseURL, platform::Secret("a+b/c==&d#e%20f g-._~"));
        QCOMPARE(url.has_value(), !address.isEmpty());
        if (url) {
            QCOMPARE(url->toEncoded(), address.toLatin1() + "?token=a%2Bb%2Fc%3D%3D%26d%23e%2520f%20g-._~");
        }
        QCOMPARE(log.count("[WS] Invalid URL"), url ? 0 : 1);
    }

    void malformedTextIsNoMessage() {
        const QByteArrayList texts{"",
                                   "hello",
                                   "{\"type\":\"chat_done\"",
                                   "{\"type\":\"chat_done\"} {}",
                                   "[{\"type\":\"chat_done\"}]",
                                   "null",
                                   "{}",
                                   "{\"type\":17}",
                                   "{\"Type\":\"chat_done\"}",
                                   "{\"type\":\"\xff\"}",
                                   "{\"type\":\"a\",\"x\":" + QByteArray(100'000, '[') + "}"};
        for (const auto& text : texts) {
            QVERIFY2(!parseServerMessage(text), text.left(30));
        }
    }

    void lostSessionIsToldByWords() {
        QVERIFY(isSessionNotFound("SESSION abc NOT FOUND"));
        QVERIFY(isSessionNotFound("Not found: session"));
        QVERIFY(!isSessionNotFound("session expired"));
        QVERIFY(!isSessionNotFound("question not found"));
    }
};

QTEST_GUILESS_MAIN(WebSocketMessagesTest)
#include "WebSocketMessagesTest.moc"
