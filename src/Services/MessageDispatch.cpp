#include "Services/MessageDispatch.h"

#include "Platform/Core/Log.h"
#include "Utilities/Json.h"

#include <array>

namespace corvane {

using boost::json::object;
using json::objectOrNull;
using json::stringOrNullopt;
using platform::logLine;

namespace {

void logEnglishAssessment(const object& content) {
    const auto* enabled = content.if_contains("enabled");
    logLine(QStringLiteral("[WS] set_english_assessment ack: enabled=%1 session_id=%2")
                .arg(enabled && enabled->is_bool() && enabled->get_bool() ? 1 : 0)
                .arg(stringOrNullopt(content, "session_id").value_or(QString())));
}

} // namespace

MessageDispatch::MessageDispatch(WebSocketService& service, Handlers handlers)
    : q(service)
    , m_handlers(std::move(handlers)) {}

void MessageDispatch::dispatch(const WSServerMessage& message) {
    using Type = WSServerMessageType;
    using Service = WebSocketService;
    using Self = MessageDispatch;
    struct Row {
        Type type;
        void (*act)(Self& p, const object& content);
    };
    static constexpr std::array rows{
        Row{Type::sessionResumed, [](Self& p, const object& content) { p.handleSessionResumed(content); }},
        Row{Type::setSession, [](Self& p, const object&) { p.handleSessionFresh(); }},
        Row{Type::chatChunk,
            [](Self& p, const object& content) { p.emitText(content, "text", &Service::chatChunk); }},
        Row{Type::chatDone, [](Self& p, const object&) { Q_EMIT p.q.chatComplete(); }},
        Row{Type::audioAck, [](Self&, const object&) {}},
        Row{Type::assessmentChunk,
            [](Self& p, const object& content) { p.emitText(content, "text", &Service::assessmentChunk); }},
        Row{Type::assessmentDone,
            [](Self& p, const object& content) { Q_EMIT p.q.assessmentComplete(content); }},
        Row{Type::assessment, [](Self& p, const object& content) { Q_EMIT p.q.assessmentComplete(content); }},
        Row{Type::endInterviewAck, [](Self& p, const object&) { Q_EMIT p.q.endInterviewAck(); }},
        Row{Type::chatQuestions,
            [](Self& p, const object& content) {
                p.emitObject(content, "questions", &Service::interviewQuestions);
            }},
        Row{Type::chatInterviewPlan,
            [](Self& p, const object& content) { p.emitObject(content, "plan", &Service::interviewPlan); }},
        Row{Type::requestActiveQuestion, [](Self& p, const object&) { Q_EMIT p.q.requestActiveQuestion(); }},
        Row{Type::processingStatus,
            [](Self& p, const object& content) { p.emitText(content, "stage", &Service::processingStatus); }},
        Row{Type::candidateSpeaking, [](Self& p, const object&) { Q_EMIT p.q.candidateSpeaking(); }},
        Row{Type::candidateStoppedSpeaking,
            [](Self& p, const object&) { Q_EMIT p.q.candidateStoppedSpeaking(); }},
        Row{Type::setEnglishAssessment, [](Self&, const object& content) { logEnglishAssessment(content); }},
        Row{Type::error, [](Self& p, const object& content) { p.handleServerError(content); }},
    };
    static_assert(rows.size() == static_cast<size_t>(Type::error) + 1);
    const auto row =
        std::ranges::find(rows, message.type, [](const Row& each) { return std::optional(each.type); });
    if (row != rows.end()) {
        row->act(*this, message.object);
    }
}

void MessageDispatch::emitText(const object& content, std::string_view key,
                               void (WebSocketService::*signal)(const QString&)) {
    if (const auto text = stringOrNullopt(content, key)) {
        (q.*signal)(*text);
    }
}

void MessageDispatch::emitObject(const object& content, std::string_view key,
                                 void (WebSocketService::*signal)(const object&)) {
    if (const auto* value = objectOrNull(content, key)) {
        (q.*signal)(*value);
    }
}

void MessageDispatch::handleSessionResumed(const object& content) {
    const SessionResumedPayload payload{stringOrNullopt(content, "session_id").value_or(QString()),
                                        stringOrNullopt(content, "interview_id")};
    logLine(QStringLiteral("[WS] Session resumed (interview_id: %1)")
                .arg(payload.interviewId.value_or(QStringLiteral("nil"))));
    m_handlers.sessionConfirmed();
    Q_EMIT q.sessionResumed(payload);
}

void MessageDispatch::handleSessionFresh() {
    logLine(QStringLiteral("[WS] Fresh session confirmed"));
    m_handlers.sessionConfirmed();
    Q_EMIT q.sessionFresh();
}

void MessageDispatch::handleServerError(const object& content) {
    const auto text = stringOrNullopt(content, "message").value_or(QStringLiteral("Unknown error"));
    logLine(QStringLiteral("[WS] Server error: %1").arg(text));
    if (isSessionNotFound(text)) {
        m_handlers.sessionLost();
    } else {
        Q_EMIT q.wsError(text);
    }
}

} // namespace corvane
