#include "Services/WebSocketServicePrivate.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Utilities/Json.h"

#include <array>

namespace corvane {

using boost::json::object;
using json::objectOrNull;
using json::stringOrNothing;
using platform::logLine;

namespace {

void logEnglishAssessment(const object& content) {
    const auto* enabled = content.if_contains("enabled");
    logLine(QStringLiteral("[WS] set_english_assessment ack: enabled=%1 session_id=%2")
                .arg(enabled && enabled->is_bool() && enabled->get_bool() ? 1 : 0)
                .arg(stringOrNothing(content, "session_id").value_or(QString())));
}

} // namespace

void WebSocketService::Private::receiveNext(int identifier) {
    const auto current = socket.snapshot();
    if (!current.webSocketTask || current.activeTaskIdentifier != identifier) {
        return;
    }
    current.webSocketTask->receive(
        [this, self = QPointer(&q), identifier](const std::optional<platform::WebSocketMessage>& message,
                                                const std::exception_ptr& error) {
            if (self && isActive(identifier)) {
                handleReceived(identifier, message, error);
            }
        });
}

void WebSocketService::Private::handleReceived(int identifier,
                                               const std::optional<platform::WebSocketMessage>& message,
                                               const std::exception_ptr& error) {
    if (!message) {
        logLine(QStringLiteral("[WS] Receive error: %1").arg(platform::errorText(error)));
        handleDisconnect(identifier);
        return;
    }
    if (message->isText) {
        handleTextMessage(identifier, message->payload);
    }
    receiveNext(identifier);
}

void WebSocketService::Private::handleTextMessage(int identifier, const QByteArray& text) {
    auto message = parseServerMessage(text);
    if (!message) {
        return;
    }
    logLine(QStringLiteral("[WS] Received: %1").arg(message->rawType));
    platform::dispatchToMain(&q, [this, identifier, message = std::move(*message)] {
        // What a lost connection still says must not pass for the word of a live one.
        if (isAlive(identifier)) {
            dispatchMessage(message);
        }
    });
}

void WebSocketService::Private::dispatchMessage(const WSServerMessage& message) {
    using Type = WSServerMessageType;
    using Service = WebSocketService;
    struct Row {
        Type type;
        void (*act)(Private& p, const object& content);
    };
    static constexpr std::array rows{
        Row{Type::sessionResumed, [](Private& p, const object& content) { p.handleSessionResumed(content); }},
        Row{Type::setSession, [](Private& p, const object&) { p.handleSessionFresh(); }},
        Row{Type::chatChunk,
            [](Private& p, const object& content) { p.emitText(content, "text", &Service::chatChunk); }},
        Row{Type::chatDone, [](Private& p, const object&) { Q_EMIT p.q.chatComplete(); }},
        Row{Type::audioAck, [](Private&, const object&) {}},
        Row{Type::assessmentChunk,
            [](Private& p, const object& content) {
                p.emitText(content, "text", &Service::assessmentChunk);
            }},
        Row{Type::assessmentDone,
            [](Private& p, const object& content) { Q_EMIT p.q.assessmentComplete(content); }},
        Row{Type::assessment,
            [](Private& p, const object& content) { Q_EMIT p.q.assessmentComplete(content); }},
        Row{Type::endInterviewAck, [](Private& p, const object&) { Q_EMIT p.q.endInterviewAck(); }},
        Row{Type::chatQuestions,
            [](Private& p, const object& content) {
                p.emitObject(content, "questions", &Service::interviewQuestions);
            }},
        Row{Type::chatInterviewPlan,
            [](Private& p, const object& content) {
                p.emitObject(content, "plan", &Service::interviewPlan);
            }},
        Row{Type::requestActiveQuestion,
            [](Private& p, const object&) { Q_EMIT p.q.requestActiveQuestion(); }},
        Row{Type::processingStatus,
            [](Private& p, const object& content) {
                p.emitText(content, "stage", &Service::processingStatus);
            }},
        Row{Type::candidateSpeaking, [](Private& p, const object&) { Q_EMIT p.q.candidateSpeaking(); }},
        Row{Type::candidateStoppedSpeaking,
            [](Private& p, const object&) { Q_EMIT p.q.candidateStoppedSpeaking(); }},
        Row{Type::setEnglishAssessment,
            [](Private&, const object& content) { logEnglishAssessment(content); }},
        Row{Type::error, [](Private& p, const object& content) { p.handleServerError(content); }},
    };
    static_assert(rows.size() == static_cast<size_t>(Type::error) + 1);
    const auto row =
        std::ranges::find(rows, message.type, [](const Row& each) { return std::optional(each.type); });
    if (row != rows.end()) {
        row->act(*this, message.object);
    }
}

void WebSocketService::Private::emitText(const object& content, std::string_view key,
                                         void (WebSocketService::*signal)(const QString&)) {
    if (const auto text = stringOrNothing(content, key)) {
        (q.*signal)(*text);
    }
}

void WebSocketService::Private::emitObject(const object& content, std::string_view key,
                                           void (WebSocketService::*signal)(const object&)) {
    if (const auto* value = objectOrNull(content, key)) {
        (q.*signal)(*value);
    }
}

void WebSocketService::Private::handleSessionResumed(const object& content) {
    const SessionResumedPayload payload{stringOrNothing(content, "session_id").value_or(QString()),
                                        stringOrNothing(content, "interview_id")};
    logLine(QStringLiteral("[WS] Session resumed (interview_id: %1)")
                .arg(payload.interviewId.value_or(QStringLiteral("nil"))));
    confirmSession();
    Q_EMIT q.sessionResumed(payload);
}

void WebSocketService::Private::handleSessionFresh() {
    logLine(QStringLiteral("[WS] Fresh session confirmed"));
    confirmSession();
    Q_EMIT q.sessionFresh();
}

void WebSocketService::Private::handleServerError(const object& content) {
    const auto text = stringOrNothing(content, "message").value_or(QStringLiteral("Unknown error"));
    logLine(QStringLiteral("[WS] Server error: %1").arg(text));
    if (isSessionNotFound(text)) {
        handleSessionNotFound();
    } else {
        Q_EMIT q.wsError(text);
    }
}

} // namespace corvane
