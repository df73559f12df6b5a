#include "Services/WebSocketMessages.h"

#include "Utilities/Json.h"

#include <array>

namespace corvane {

namespace {

struct TypeName {
    std::string_view rawValue;
    WSServerMessageType type;
};

constexpr std::array typeNames{
    TypeName{"session_resumed", WSServerMessageType::sessionResumed},
    TypeName{"set_session", WSServerMessageType::setSession},
    TypeName{"chat_chunk", WSServerMessageType::chatChunk},
    TypeName{"chat_done", WSServerMessageType::chatDone},
    TypeName{"audio_ack", WSServerMessageType::audioAck},
    TypeName{"assessment_chunk", WSServerMessageType::assessmentChunk},
    TypeName{"assessment_done", WSServerMessageType::assessmentDone},
    TypeName{"assessment", WSServerMessageType::assessment},
    TypeName{"end_interview_ack", WSServerMessageType::endInterviewAck},
    TypeName{"chat_questions", WSServerMessageType::chatQuestions},
    TypeName{"chat_interview_plan", WSServerMessageType::chatInterviewPlan},
    TypeName{"request_active_question", WSServerMessageType::requestActiveQuestion},
    TypeName{"processing_status", WSServerMessageType::processingStatus},
    TypeName{"candidate_speaking", WSServerMessageType::candidateSpeaking},
    TypeName{"candidate_stopped_speaking", WSServerMessageType::candidateStoppedSpeaking},
    TypeName{"set_english_assessment", WSServerMessageType::setEnglishAssessment},
    TypeName{"error", WSServerMessageType::error},
};

struct ToJson {
    using Object = boost::json::object;

    Object operator()(const WSCommand::SetSession& command) const {
        return {{"type", "set_session"}, {"session_id", json::toJson(command.sessionId)}};
    }
    Object operator()(const WSCommand::Chat& command) const {
        return {{"type", "chat"}, {"message", json::toJson(command.message)}};
    }
    Object operator()(const WSCommand::InterviewId& command) const {
        return {{"type", "interview_id"}, {"id", json::toJson(command.id)}};
    }
    Object operator()(const WSCommand::ActiveQuestion& command) const {
        return {{"type", "active_question"}, {"question", json::toJson(command.question)}};
    }
    Object operator()(const WSCommand::SetFollowUps& command) const {
        return {{"type", "set_follow_ups"}, {"enabled", command.enabled}};
    }
    Object operator()(const WSCommand::SetEnglishAssessment& command) const {
        return {{"type", "set_english_assessment"}, {"enabled", command.enabled}};
    }
    Object operator()(const WSCommand::NewChat&) const { return {{"type", "new_chat"}}; }
    Object operator()(const WSCommand::EndInterview&) const { return {{"type", "end_interview"}}; }
};

} // namespace

boost::json::object WSCommand::toJson() const {
    return std::visit(ToJson(), payload);
}

QByteArray candidateSpeechStartFrame() {
    return json::serializeSorted({{"type", "candidate_speech_start"}});
}

QByteArray candidateSpeechStopFrame(qint64 at) {
    return json::serializeSorted({{"type", "candidate_speech_stop"}, {"at", at}});
}

std::optional<WSServerMessageType> serverMessageType(std::string_view rawValue) {
    const auto* found = std::ranges::find(typeNames, rawValue, &TypeName::rawValue);
    return found == typeNames.end() ? std::nullopt : std::optional(found->type);
}

std::optional<WSServerMessage> parseServerMessage(const QByteArray& text) {
    try {
        auto document = json::parse(text);
        auto* object = document.if_object();
        const auto* type = object ? object->if_contains("type") : nullptr;
        if (!type || !type->is_string()) {
            return std::nullopt;
        }
        const std::string_view rawType = type->get_string();
        return WSServerMessage{json::toQString(rawType), serverMessageType(rawType), std::move(*object)};
    } catch (const json::DecodingError&) {
        return std::nullopt;
    }
}

bool isSessionNotFound(const QString& errorMessage) {
    const auto words = errorMessage.toLower();
    return words.contains(QLatin1String("session")) && words.contains(QLatin1String("not found"));
}

} // namespace corvane
