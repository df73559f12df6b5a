#pragma once

#include <QString>

#include <boost/json/object.hpp>

#include <optional>
#include <variant>

namespace corvane {

// The commands that the client sends as JSON text.
struct WSCommand {
    struct SetSession {
        QString sessionId;
    };
    struct Chat {
        QString message;
    };
    struct InterviewId {
        QString id;
    };
    struct ActiveQuestion {
        QString question;
    };
    struct SetFollowUps {
        bool enabled;
    };
    struct SetEnglishAssessment {
        bool enabled;
    };
    struct NewChat {};
    struct EndInterview {};

    std::variant<SetSession, Chat, InterviewId, ActiveQuestion, SetFollowUps, SetEnglishAssessment, NewChat,
                 EndInterview>
        payload;

    static WSCommand setSession(QString sessionId) { return {SetSession{std::move(sessionId)}}; }
    static WSCommand chat(QString message) { return {Chat{std::move(message)}}; }
    static WSCommand interviewId(QString id) { return {InterviewId{std::move(id)}}; }
    static WSCommand activeQuestion(QString question) { return {ActiveQuestion{std::move(question)}}; }
    static WSCommand setFollowUps(bool enabled) { return {SetFollowUps{enabled}}; }
    static WSCommand setEnglishAssessment(bool enabled) { return {SetEnglishAssessment{enabled}}; }
    static WSCommand newChat() { return {NewChat{}}; }
    static WSCommand endInterview() { return {EndInterview{}}; }

    // The object of the wire, `type` included.
    boost::json::object toJson() const;
};

// Frames of the detector's marks, keys in ascending order.
QByteArray candidateSpeechStartFrame();
QByteArray candidateSpeechStopFrame(qint64 at); // ms since the Unix epoch

enum class WSServerMessageType {
    sessionResumed,
    setSession,
    chatChunk,
    chatDone,
    audioAck,
    assessmentChunk,
    assessmentDone,
    assessment,
    endInterviewAck,
    chatQuestions,
    chatInterviewPlan,
    requestActiveQuestion,
    processingStatus,
    candidateSpeaking,
    candidateStoppedSpeaking,
    setEnglishAssessment,
    error,
};
std::optional<WSServerMessageType> serverMessageType(std::string_view rawValue);

// A server message as it came.
struct WSServerMessage {
    QString rawType;
    std::optional<WSServerMessageType> type; // nothing for a type that nobody here knows
    boost::json::object object;
};
// Nothing for text that is no JSON, no object, or has no string under `type`.
std::optional<WSServerMessage> parseServerMessage(const QByteArray& text);

// The server has no code for a session that it lost: its words are the whole contract.
bool isSessionNotFound(const QString& errorMessage);

struct SessionResumedPayload {
    QString sessionId; // empty when the server gave none
    std::optional<QString> interviewId;
};

} // namespace corvane
