#include "WebSocketMessages.h"
#include "Json.h"
#include "LogCapture.h"

#include <QTest>

class WebSocketMessagesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void commandsOnTheWire_data() {
        QTest::addColumn<QByteArray>("sorted");
        QTest::addColumn<QByteArray>("expected");
        const auto row = [](const WSCommand& command, const char* expected) {
            QTest::newRow(expected) << json::serializeSorted(command.toJson()) << QByteArray(expected);
        };
        row(WSCommand::setSession(QStringLiteral("m-1")), R"({"session_id":"m-1","type":"set_session"})");
        row(WSCommand::chat(QString::fromUtf8("a \"q\"\n\xe2\x82\xac")),
            "{\"message\":\"a \\\"q\\\"\\n\xe2\x82\xac\",\"type\":\"chat\"}");
        row(WSCommand::interviewId(QStringLiteral("i")), R"({"id":"i","type":"interview_id"})");
        row(WSCommand::activeQuestion(QString()), R"({"question":"","type":"active_question"})");
        row(WSCommand::setFollowUps(true), R"({"enabled":true,"type":"set_follow_ups"})");
        row(WSCommand::setEnglishAssessment(false), R"({"enabled":false,"type":"set_english_assessment"})");
        row(WSCommand::newChat(), R"({"type":"new_chat"})");
        row(WSCommand::endInterview(), R"({"type":"end_interview"})");
    }
    void commandsOnTheWire() {
        QFETCH(QByteArray, sorted);
        QTEST(sorted, "expected");
    }

    void speechMarksHaveSortedKeys() {
        QCOMPARE(candidateSpeechStartFrame(), QByteArray(R"({"type":"candidate_speech_start"})"));
        QCOMPARE(candidateSpeechStopFrame(1700000000000),
                 QByteArray(R"({"at":1700000000000,"type":"candidate_speech_stop"})"));
    }

    void addressOfTheSocket_data() {
        QTest::addColumn<QString>("baseURL");
        QTest::addColumn<QString>("address"); // empty: refused
        const auto row = [](const char* baseURL, const char* address) {
            QTest::newRow(baseURL) << QString::fromLatin1(baseURL) << QString::fromLatin1(address);
        };
        row("https://b.example", "wss://b.example/ws?token=T");
        row("http://b.example:8000", "ws://b.example:8000/ws?token=T");
        row("https://b.example/", "wss://b.example//ws?token=T");
        row("https://b.example/v1?x=y", "wss://b.example/v1?token=T");
        row("wss://b.example", "wss://b.example/ws?token=T");
        row("http://[::1]:80", "ws://[::1]:80/ws?token=T");
        row("b.example", "");
        row("HTTPS://b.example", "");
        row("ftp://b.example", "");
        row("https://b example", "");
        row("https://b.example:99999", "");
        row("https://b.example/%zz", "");
    }
    void addressOfTheSocket() {
        QFETCH(QString, baseURL);
        QFETCH(QString, address);
        const LogCapture log;
        const auto url = webSocketUrl(baseURL, platform::Secret(QStringLiteral("T")));
        QCOMPARE(url ? QString::fromLatin1(url->toEncoded()) : QString(), address);
        QCOMPARE(log.lines(),
                 address.isEmpty() ? QStringList(QStringLiteral("[WS] Invalid URL")) : QStringList());
    }

    void tokenSurvivesTheQuery() {
        const auto url = webSocketUrl(QStringLiteral("https://b.example"),
                                      platform::Secret(QStringLiteral("a+b/c==&d#e%20f g-._~")));
        QVERIFY(url);
        QCOMPARE(url->toEncoded(),
                 QByteArray("wss://b.example/ws?token=a%2Bb%2Fc%3D%3D%26d%23e%2520f%20g-._~"));
    }

    void malformedTextIsNoMessage_data() {
        QTest::addColumn<QByteArray>("text");
        const QList<QByteArray> texts{"",
                                      "hello",
                                      "{\"type\":\"chat_done\"",
                                      "{\"type\":\"chat_done\"} {}",
                                      "[{\"type\":\"chat_done\"}]",
                                      "\"chat_done\"",
                                      "null",
                                      "{}",
                                      "{\"type\":17}",
                                      "{\"type\":null}",
                                      "{\"Type\":\"chat_done\"}",
                                      "{\"type\":\"\xff\"}",
                                      "{\"type\":\"a\",\"x\":" + QByteArray(100'000, '[') + "}"};
        for (qsizetype i = 0; i < texts.size(); ++i) {
            QTest::addRow("%lld %s", i, texts[i].left(30).constData()) << texts[i];
        }
    }
    void malformedTextIsNoMessage() {
        QFETCH(QByteArray, text);
        QVERIFY(!parseServerMessage(text));
    }

    void lostSessionIsToldByWords_data() {
        QTest::addColumn<QString>("words");
        QTest::addColumn<bool>("expected");
        QTest::newRow("plain") << QStringLiteral("Session not found") << true;
        QTest::newRow("with id") << QStringLiteral("session abc not found") << true;
        QTest::newRow("turned round") << QStringLiteral("Not found: session") << true;
        QTest::newRow("capitals") << QStringLiteral("SESSION NOT FOUND") << true;
        QTest::newRow("expired") << QStringLiteral("session expired") << false;
        QTest::newRow("something else") << QStringLiteral("question not found") << false;
    }
    void lostSessionIsToldByWords() {
        QFETCH(QString, words);
        QTEST(isSessionNotFound(words), "expected");
    }
};

QTEST_GUILESS_MAIN(WebSocketMessagesTest)
#include "WebSocketMessagesTest.moc"
