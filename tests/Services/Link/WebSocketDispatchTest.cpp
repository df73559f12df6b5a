#include "Services/BackendAddress.h"
#include "Services/WebSocketMessages.h"
#include "Utilities/Json.h"
#include "tests/Services/Link/LinkFixture.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Rows.h"

using namespace corvane;

namespace {

using S = WebSocketService;

QString text(const QString& argument) {
    return argument;
}
QString text(const boost::json::object& argument) {
    return QString::fromUtf8(json::serialize(argument));
}
QString text(const SessionResumedPayload& argument) {
    return argument.sessionId + u'/' + argument.interviewId.value_or("-");
}

// Every event of the service, in order.
class Events {
public:
    explicit Events(S& service)
        : m_service(service) {
        note(&S::chatChunk, "chatChunk");
        note(&S::chatComplete, "chatComplete");
        note(&S::assessmentChunk, "assessmentChunk");
        note(&S::assessmentComplete, "assessmentComplete");
        note(&S::sessionResumed, "sessionResumed");
        note(&S::sessionFresh, "sessionFresh");
        note(&S::interviewQuestions, "interviewQuestions");
        note(&S::interviewPlan, "interviewPlan");
        note(&S::requestActiveQuestion, "requestActiveQuestion");
        note(&S::endInterviewAck, "endInterviewAck");
        note(&S::processingStatus, "processingStatus");
        note(&S::candidateSpeaking, "candidateSpeaking");
        note(&S::candidateStoppedSpeaking, "candidateStoppedSpeaking");
        note(&S::sessionNotFound, "sessionNotFound");
        note(&S::wsError, "wsError");
    }

    QStringList list;

private:
    template<typename... Arguments>
    void note(void (S::*signal)(Arguments...), const char* name) {
        QObject::connect(&m_service, signal, &m_context, [this, name](const Arguments&... arguments) {
            list.append((QLatin1String(name) + ... + (u' ' + text(arguments))));
        });
    }

    S& m_service;
    QObject m_context;
};

} // namespace

class WebSocketDispatchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void messageToEvent_data() {
        const auto add = rows<QByteArray, QString, QString>();
        const auto row = [add](const char* message, const char* event = "", const char* line = "") {
            add(message, message, event, line);
        };
        row(R"({"type":"session_resumed","session_id":"s","interview_id":"i"})", "sessionResumed s/i",
            "[WS] Session resumed (interview_id: i)");
        row(R"({"type":"session_resumed","session_id":1,"interview_id":null})", "sessionResumed /-",
            "[WS] Session resumed (interview_id: nil)");
        row(R"({"type":"set_session","session_id":"s"})", "sessionFresh", "[WS] Fresh session confirmed");
        row(R"({"type":"chat_chunk","text":"a\nb"})", "chatChunk a\nb");
        row(R"({"type":"chat_chunk","text":5})");
        row(R"({"type":"chat_done"})", "chatComplete");
        row(R"({"type":"audio_ack","text":"x"})");
        row(R"({"type":"assessment_chunk","text":"t"})", "assessmentChunk t");
        row(R"({"type":"assessment_chunk","text":["t"]})");
        row(R"({"type":"assessment_done","z":1,"a":[true]})",
            R"(assessmentComplete {"type":"assessment_done","z":1,"a":[true]})");
        row(R"({"type":"assessment"})", R"(assessmentComplete {"type":"assessment"})");
        row(R"({"type":"end_interview_ack"})", "endInterviewAck");
        row(R"({"type":"chat_questions","questions":{"Z":[{"question":"q"}],"A":[]}})",
            R"(interviewQuestions {"Z":[{"question":"q"}],"A":[]})");
        row(R"({"type":"chat_questions","questions":[]})");
        row(R"({"type":"chat_interview_plan","plan":{"T":[]}})", R"(interviewPlan {"T":[]})");
        row(R"({"type":"chat_interview_plan","plan":"T"})");
        row(R"({"type":"request_active_question"})", "requestActiveQuestion");
        row(R"({"type":"processing_status","stage":"anything"})", "processingStatus anything");
        row(R"({"type":"processing_status","stage":false})");
        row(R"({"type":"candidate_speaking"})", "candidateSpeaking");
        row(R"({"type":"candidate_stopped_speaking"})", "candidateStoppedSpeaking");
        row(R"({"type":"set_english_assessment","enabled":true,"session_id":"s"})", "",
            "[WS] set_english_assessment ack: enabled=1 session_id=s");
        row(R"({"type":"error","message":"session expired"})", "wsError session expired",
            "[WS] Server error: session expired");
        row(R"({"type":"error","message":{}})", "wsError Unknown error", "[WS] Server error: Unknown error");
        row(R"({"type":"brand_new"})");
    }
    void messageToEvent() {
        const auto [message, event, line] = currentRow<QByteArray, QString, QString>();
        LinkFixture link;
        link.open();
        link.log.clear();
        const Events events(*link.service);
        // Nothing is emitted within the receive callback.
        link.sockets.last().sendText(message);
        QVERIFY(events.list.isEmpty());
        link.settle();
        QCOMPARE(events.list.join(u'|'), event);
        QCOMPARE(link.log.lines().value(0), "[WS] Received: " + parseServerMessage(message)->rawType);
        QCOMPARE(link.log.lines().value(1), line);
    }

    void everythingElseIsPassedOver() {
        LinkFixture link;
        link.open();
        const Events events(*link.service);
        link.receive("no JSON");
        link.receive(R"({"text":"no type"})");
        link.sockets.last().sendBinary(R"({"type":"chat_done"})");
        link.receive(R"({"type":"chat_chunk","text":"1"})");
        link.receive(R"({"type":"chat_chunk","text":"2"})");
        QCOMPARE(events.list, QStringList({"chatChunk 1", "chatChunk 2"}));
    }

    void aLongMessageKeepsItsPlace() {
        LinkFixture link;
        link.open();
        const Events events(*link.service);
        const QByteArray text(300 * 1024, 'x');
        link.sockets.last().sendText("{\"type\":\"chat_chunk\",\"text\":\"" + text + "\"}");
        link.receive("{\"type\":\"chat_done\"}");
        QVERIFY(waitUntil([&] { return events.list.size() == 2; }));
        QCOMPARE(events.list, QStringList({"chatChunk " + text, "chatComplete"}));
    }

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
        row("http://127.0.0.2", "ws://127.0.0.2/ws");
        row("http://localhost:1", "ws://localhost:1/ws");
        row("http://localhost.b.example", "ws://localhost.b.example/ws");
        for (const char* unusable :
             {"https://b example", "https://b.example:99999", "https://b.example/%zz"}) {
            row(unusable, "");
        }
    }
    void addressOfTheSocket() {
        const auto [baseURL, address] = currentRow<QString, QString>();
        const LogCapture log;
        const auto url = webSocketUrl(baseURL, platform::Secret("a+b/c==&d#e%20f g-._~"));
        QCOMPARE(url.isValid(), !address.isEmpty());
        if (url.isValid()) {
            QCOMPARE(url.toEncoded(), address.toLatin1() + "?token=a%2Bb%2Fc%3D%3D%26d%23e%2520f%20g-._~");
        }
        QCOMPARE(log.count("[WS] Invalid URL"), url.isValid() ? 0 : 1);
        const bool isReadable = address.startsWith("ws:") && address.contains("b.example");
        QCOMPARE(log.count("is reached without encryption"), isReadable ? 1 : 0);
    }

    void malformedTextIsNoMessage() {
        const auto deep = R"({"type":"a","x":)" + QByteArray(100'000, '[') + '}';
        for (const QByteArray& text :
             {QByteArray(), QByteArray(R"({"type":"chat_done")"), QByteArray(R"({"type":"chat_done"} {})"),
              QByteArray(R"([{"type":"chat_done"}])"), QByteArray(R"({"type":17})"),
              QByteArray(R"({"Type":"chat_done"})"), QByteArray("{\"type\":\"\xff\"}"), deep}) {
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

QTEST_GUILESS_MAIN(WebSocketDispatchTest)
#include "WebSocketDispatchTest.moc"
