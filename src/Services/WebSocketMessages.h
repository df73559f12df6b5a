#pragma once

#include <QString>

#include <boost/json/object.hpp>

#include <optional>
#include <variant>

namespace corvane {

// The commands that the program sends as JSON text.
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

    // Returns the JSON object of the command, with its `type`.
    boost::json::object toJson() const;
};

// Return the frames of the detector's marks, with the keys in ascending order.
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

// A message of the server.
struct WSServerMessage {
    QString rawType;
    std::optional<WSServerMessageType> type; // nullopt for an unknown type
    boost::json::object object;
};
// Returns nullopt when the text is not a JSON object or has no string under `type`.
std::optional<WSServerMessage> parseServerMessage(const QByteArray& text);

// Returns whether the message says that the server has lost the session. The server has no error code for
// that, so its wording is the contract.
bool isSessionNotFound(const QString& errorMessage);

struct SessionResumedPayload {
    QString sessionId; // empty when the server gave none
    std::optional<QString> interviewId;
};

} // namespace corvane
