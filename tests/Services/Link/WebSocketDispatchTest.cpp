#include "Json.h"
#include "LinkFixture.h"
#include "Rows.h"

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
};

QTEST_GUILESS_MAIN(WebSocketDispatchTest)
#include "WebSocketDispatchTest.moc"
