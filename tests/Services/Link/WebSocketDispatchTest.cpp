#include "Json.h"
#include "LinkFixture.h"

namespace {

QString compact(const boost::json::object& object) {
    return QString::fromUtf8(json::serialize(object));
}

// Writes down every event of the service, in order.
QStringList recordEvents(WebSocketService& service, const std::function<void()>& during) {
    auto events = std::make_shared<QStringList>();
    QObject context;
    const auto on = [&](auto signal, const char* name) {
        QObject::connect(&service, signal, &context, [events, name] { events->append(QLatin1String(name)); });
    };
    const auto onText = [&](auto signal, const char* name) {
        QObject::connect(&service, signal, &context, [events, name](const QString& text) {
            events->append(QLatin1String(name) + u' ' + text);
        });
    };
    const auto onObject = [&](auto signal, const char* name) {
        QObject::connect(&service, signal, &context, [events, name](const boost::json::object& object) {
            events->append(QLatin1String(name) + u' ' + compact(object));
        });
    };
    using S = WebSocketService;
    onText(&S::chatChunk, "chatChunk");
    on(&S::chatComplete, "chatComplete");
    onText(&S::assessmentChunk, "assessmentChunk");
    onObject(&S::assessmentComplete, "assessmentComplete");
    QObject::connect(&service, &S::sessionResumed, &context, [events](const SessionResumedPayload& payload) {
        events->append(QStringLiteral("sessionResumed '%1' %2")
                           .arg(payload.sessionId, payload.interviewId.value_or(QStringLiteral("-"))));
    });
    on(&S::sessionFresh, "sessionFresh");
    onObject(&S::interviewQuestions, "interviewQuestions");
    onObject(&S::interviewPlan, "interviewPlan");
    on(&S::requestActiveQuestion, "requestActiveQuestion");
    on(&S::endInterviewAck, "endInterviewAck");
    onText(&S::processingStatus, "processingStatus");
    on(&S::candidateSpeaking, "candidateSpeaking");
    on(&S::candidateStoppedSpeaking, "candidateStoppedSpeaking");
    onText(&S::sessionNotFound, "sessionNotFound");
    onText(&S::wsError, "wsError");
    on(&S::disconnected, "disconnected");
    during();
    return *events;
}

} // namespace

class WebSocketDispatchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void messageToEvent_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("event");
        QTest::addColumn<QStringList>("lines"); // besides "[WS] Received: ..."
        const auto row = [](const char* text, const char* event = "", const char* line = "") {
            QTest::newRow(text) << QByteArray(text) << QString::fromUtf8(event)
                                << (*line ? QStringList(QString::fromUtf8(line)) : QStringList());
        };
        row(R"({"type":"session_resumed","session_id":"s","interview_id":"i"})", "sessionResumed 's' i",
            "[WS] Session resumed (interview_id: i)");
        row(R"({"type":"session_resumed"})", "sessionResumed '' -",
            "[WS] Session resumed (interview_id: nil)");
        row(R"({"type":"session_resumed","session_id":1,"interview_id":null})", "sessionResumed '' -",
            "[WS] Session resumed (interview_id: nil)");
        row(R"({"type":"set_session","session_id":"s"})", "sessionFresh", "[WS] Fresh session confirmed");
        row(R"({"type":"chat_chunk","text":"a\nb"})", "chatChunk a\nb");
        row(R"({"type":"chat_chunk","text":""})", "chatChunk ");
        row(R"({"type":"chat_chunk"})");
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
        row(R"({"type":"chat_questions"})");
        row(R"({"type":"chat_interview_plan","plan":{"T":[]}})", R"(interviewPlan {"T":[]})");
        row(R"({"type":"chat_interview_plan","plan":"T"})");
        row(R"({"type":"request_active_question"})", "requestActiveQuestion");
        row(R"({"type":"processing_status","stage":"anything"})", "processingStatus anything");
        row(R"({"type":"processing_status","stage":false})");
        row(R"({"type":"candidate_speaking"})", "candidateSpeaking");
        row(R"({"type":"candidate_stopped_speaking"})", "candidateStoppedSpeaking");
        row(R"({"type":"set_english_assessment","enabled":true,"session_id":"s"})", "",
            "[WS] set_english_assessment ack: enabled=1 session_id=s");
        row(R"({"type":"set_english_assessment","enabled":1})", "",
            "[WS] set_english_assessment ack: enabled=0 session_id=");
        row(R"({"type":"error","message":"session expired"})", "wsError session expired",
            "[WS] Server error: session expired");
        row(R"({"type":"error","message":{}})", "wsError Unknown error", "[WS] Server error: Unknown error");
        row(R"({"type":"brand_new"})");
    }
    void messageToEvent() {
        QFETCH(QByteArray, text);
        QFETCH(QString, event);
        QFETCH(QStringList, lines);
        LinkFixture link;
        link.open();
        link.log.clear();
        const auto events = recordEvents(*link.service, [&] { link.receive(text); });
        QCOMPARE(events, event.isEmpty() ? QStringList() : QStringList(event));
        const auto type = parseServerMessage(text)->rawType;
        QCOMPARE(link.log.lines(), QStringList(QStringLiteral("[WS] Received: ") + type) + lines);
    }

    void everythingElseIsPassedOver() {
        LinkFixture link;
        link.open();
        link.log.clear();
        const auto events = recordEvents(*link.service, [&] {
            link.receive("no JSON");
            link.receive(R"({"text":"no type"})");
            link.sockets.last().sendBinary(R"({"type":"chat_done"})");
            link.receive(R"({"type":"chat_chunk","text":"1"})");
            link.receive(R"({"type":"chat_chunk","text":"2"})");
        });
        QCOMPARE(events, QStringList({QStringLiteral("chatChunk 1"), QStringLiteral("chatChunk 2")}));
        QCOMPARE(link.log.lines().size(), 2);
    }

    void nothingIsEmittedWithinTheReceiveCallback() {
        LinkFixture link;
        link.open();
        const auto events = recordEvents(*link.service, [&] {
            link.sockets.last().sendText(R"({"type":"chat_done"})");
            QVERIFY(link.log.contains(QStringLiteral("[WS] Received: chat_done")));
        });
        QCOMPARE(events, QStringList());
    }
};

QTEST_GUILESS_MAIN(WebSocketDispatchTest)
#include "WebSocketDispatchTest.moc"
