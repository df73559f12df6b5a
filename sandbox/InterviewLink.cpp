#include "sandbox/InterviewLink.h"

#include "sandbox/InterviewScript.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace sandbox {

namespace json = boost::json;

namespace {

// Frames that were on their way when the interview ended are not violations.
constexpr std::chrono::seconds lateFrames{1};
constexpr std::chrono::minutes clockTolerance{2};

json::object typed(std::string_view type) {
    return {{"type", type}};
}
json::object stage(std::string_view name) {
    return {{"type", "processing_status"}, {"stage", name}};
}

std::string string(const json::object& object, std::string_view key) {
    return std::string(object.at(key).as_string());
}

} // namespace

struct InterviewLink::Command {
    std::string_view type;
    // The one key besides "type"; empty for none.
    std::string_view key;
    json::kind kind;
    void (InterviewLink::*act)(const json::object&, std::string_view);
};

const InterviewLink::Command* InterviewLink::findCommand(std::string_view type) {
    static const std::array<Command, 10> commands{
        {{"set_session", "session_id", json::kind::string, &InterviewLink::setSession},
         {"chat", "message", json::kind::string, &InterviewLink::chat},
         {"interview_id", "id", json::kind::string, &InterviewLink::interviewId},
         {"active_question", "question", json::kind::string, &InterviewLink::activeQuestion},
         {"set_follow_ups", "enabled", json::kind::bool_, &InterviewLink::setFollowUps},
         {"set_english_assessment", "enabled", json::kind::bool_, &InterviewLink::setEnglish},
         {"new_chat", "", json::kind::null, &InterviewLink::newChat},
         {"end_interview", "", json::kind::null, &InterviewLink::endInterview},
         {"candidate_speech_start", "", json::kind::null, &InterviewLink::speechStart},
         {"candidate_speech_stop", "at", json::kind::int64, &InterviewLink::speechStop}}};
    const auto* found =
        std::find_if(commands.begin(), commands.end(), [&](const Command& c) { return c.type == type; });
    return found == commands.end() ? nullptr : found;
}

InterviewLink::InterviewLink(BackendService& backend)
    : m_backend(backend)
    , m_sender(std::make_shared<PacedSender>(backend.scheduler(), backend.faults(), backend.settings.pace,
                                             [this](const json::object& message) {
                                                 if (m_peer) {
                                                     m_peer->sendText(json::serialize(message));
                                                 }
                                             }))
    , m_sound(backend.beginSound()) {}

void InterviewLink::opened(std::shared_ptr<WebSocketPeer> peer) {
    m_peer = std::move(peer);
    m_peer->ignoresPings = m_backend.faults().ignorePings;
    if (m_backend.faults().silent) {
        m_peer->fallSilent();
    }
}

void InterviewLink::closed(int code) {
    m_peer.reset();
    dropPlanned();
    m_backend.noteClosed(code);
}

void InterviewLink::misbehaved(std::string what) {
    violation(what);
}

void InterviewLink::violation(const std::string& what) {
    if (m_violations.insert(what).second) {
        m_backend.ledger().violation("link: " + what);
    }
}

bool InterviewLink::isWellFormed(const json::object& object, const Command& command) {
    const std::size_t keys = command.key.empty() ? 1 : 2;
    const auto* value = object.if_contains(command.key);
    return object.size() == keys &&
           (command.key.empty() || (value != nullptr && value->kind() == command.kind));
}

void InterviewLink::text(std::string_view message) {
    boost::system::error_code error;
    const json::value value = json::parse(message, error);
    const auto* object = error ? nullptr : value.if_object();
    const auto* type = object != nullptr ? object->if_contains("type") : nullptr;
    const auto* command = type != nullptr && type->is_string() ? findCommand(type->get_string()) : nullptr;
    if (command == nullptr || !isWellFormed(*object, *command)) {
        violation(command == nullptr ? "a text frame that is not a command"
                                     : "keys of " + std::string(command->type) + " are not as they must be");
        m_sender->sendNow({{"type", "error"}, {"message", "Malformed command"}});
        return;
    }
    m_backend.noteCommand(*object);
    if (command->type != "set_session") {
        if (m_sessionId.empty()) {
            if (command->type == "interview_id" || command->type == "end_interview") {
                violation(std::string(command->type) + " before the session was set");
            }
            m_sender->sendNow({{"type", "error"}, {"message", "Set a session first"}});
            return;
        }
        if (m_backend.session(m_sessionId) == nullptr) {
            tellLoss();
            return;
        }
    }
    (this->*command->act)(*object, message);
}

void InterviewLink::tellLoss() {
    if (!m_sessionId.empty()) {
        m_sender->sendNow({{"type", "error"}, {"message", m_backend.lossText(m_sessionId)}});
    }
}

void InterviewLink::setSession(const json::object& object, std::string_view) {
    m_sessionId = string(object, "session_id");
    auto* session = m_backend.session(m_sessionId);
    if (session == nullptr) {
        tellLoss();
        return;
    }
    json::object answer{{"type", session->known ? "session_resumed" : "set_session"},
                        {"session_id", m_sessionId}};
    if (session->known && !session->interviewId.empty()) {
        answer["interview_id"] = session->interviewId;
    }
    session->known = true;
    m_sessionSerial = session->serial;
    session->interviewLost = false;
    m_sender->plan({std::move(answer)});
}

void InterviewLink::chat(const json::object& object, std::string_view) {
    const auto message = string(object, "message");
    m_backend.noteChat(message);
    if (message.starts_with(openingSentence)) {
        openInterview(message.substr(openingSentence.size()));
        return;
    }
    m_sender->plan({stage("thinking")});
    m_sender->planProse("chat_chunk", chatReply(message));
    m_sender->plan({typed("chat_done")});
}

void InterviewLink::openInterview(const std::string& id) {
    m_sender->plan({stage("analyzing"), stage("preparing")});
    if (!isPlannedInterview(id)) {
        m_sender->planProse("chat_chunk", unplannedReply());
        m_sender->plan({typed("chat_done")});
        return;
    }
    m_backend.startRecord(id);
    m_sender->planProse("chat_chunk", openingReply(id));
    m_sender->plan({typed("chat_done"),
                    stage("building_prompt"),
                    stage("processing_questions"),
                    {{"type", "chat_interview_plan"}, {"plan", interviewPlan()}},
                    {{"type", "chat_questions"}, {"questions", interviewQuestions()}}});
}

void InterviewLink::interviewId(const json::object& object, std::string_view) {
    const auto id = string(object, "id");
    if (!isPlannedInterview(id)) {
        violation("interview_id for an interview without a plan");
        return;
    }
    auto* session = m_backend.session(m_sessionId);
    session->interviewId = id;
    session->interviewLost = false;
    m_backend.record(id).running = true;
    m_candidateSpeaking = false;
    m_sender->plan({typed("request_active_question")});
}

// Returns whether the program may not know yet that no interview is running. A session that was forgotten may
// exist again, made by the program's next link.
bool InterviewLink::hasLostInterview() const {
    const auto* session = m_backend.session(m_sessionId);
    return session == nullptr || session->serial != m_sessionSerial || session->interviewLost ||
           Clock::now() - m_interviewEnded <= lateFrames;
}

InterviewRecord* InterviewLink::runningInterview(const char* forWhat) {
    const auto* session = m_backend.session(m_sessionId);
    if (session == nullptr || session->interviewId.empty()) {
        if (!hasLostInterview()) {
            violation(std::string(forWhat) + " with no interview running");
        }
        return nullptr;
    }
    return &m_backend.record(session->interviewId);
}

void InterviewLink::activeQuestion(const json::object& object, std::string_view) {
    const auto question = string(object, "question");
    if (!isInterviewQuestion(question)) {
        violation("active_question that is not a question of the interview");
    }
    if (auto* record = runningInterview("active_question")) {
        record->activeQuestion = question;
    }
}

void InterviewLink::setFollowUps(const json::object& object, std::string_view) {
    if (auto* record = runningInterview("set_follow_ups")) {
        record->followUps = object.at("enabled").as_bool();
    }
}

void InterviewLink::setEnglish(const json::object& object, std::string_view) {
    const bool enabled = object.at("enabled").as_bool();
    if (auto* record = runningInterview("set_english_assessment")) {
        record->english = enabled;
    }
    m_sender->plan({{{"type", "set_english_assessment"}, {"enabled", enabled}, {"session_id", m_sessionId}}});
}

void InterviewLink::newChat(const json::object&, std::string_view) {
    dropPlanned();
}

void InterviewLink::endInterview(const json::object&, std::string_view) {
    auto* session = m_backend.session(m_sessionId);
    if (auto* record = runningInterview("end_interview")) {
        record->running = false;
    }
    session->interviewId.clear();
    m_interviewEnded = Clock::now();
    dropPlanned();
    const auto& faults = m_backend.faults();
    m_backend.scheduler().after(faults.slowness + faults.endAckDelay, [weak = weak_from_this()] {
        if (const auto link = weak.lock()) {
            link->m_sender->sendNow(typed("end_interview_ack"));
        }
    });
}

void InterviewLink::speechStart(const json::object&, std::string_view) {
    if (auto* record = runningInterview("candidate_speech_start")) {
        ++record->speechStarts;
        tellSpeaking(true);
    }
}

void InterviewLink::speechStop(const json::object& object, std::string_view text) {
    const auto at = object.at("at").as_int64();
    if (text != "{\"at\":" + std::to_string(at) + ",\"type\":\"candidate_speech_stop\"}") {
        violation("candidate_speech_stop is not written with sorted keys and no blanks");
    }
    const std::chrono::milliseconds stop{at};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    if (stop > now + clockTolerance || stop < now - clockTolerance) {
        violation("candidate_speech_stop at a time that is not now");
    }
    if (auto* record = runningInterview("candidate_speech_stop")) {
        record->speechStops.push_back(at);
        tellSpeaking(false);
        assess("the candidate has finished an answer", "assessment_done");
    }
}

void InterviewLink::binary(std::span<const std::uint8_t> message) {
    auto& frames = m_backend.frames();
    ++frames.total;
    ++m_sound->frames;
    m_sound->checksum.process_bytes(message.data(), message.size());
    if (m_sessionSerial == 0) {
        ++frames.beforeSession;
        violation("sound before the session was confirmed");
        return;
    }
    auto* record = runningInterview("sound");
    if (record == nullptr) {
        ++(hasLostInterview() ? frames.late : frames.withoutInterview);
        return;
    }
    takeSound(*record, message);
}

void InterviewLink::takeSound(InterviewRecord& record, std::span<const std::uint8_t> message) {
    if (message.empty() || message[0] > 1) {
        ++m_backend.frames().bad;
        violation("a frame without a stream byte of 0 or 1");
        return;
    }
    std::string fault;
    auto& stream = record.streams[message[0]];
    if (!stream.take(message.subspan(1), fault)) {
        ++m_backend.frames().bad;
        violation("sound file: " + fault);
        return;
    }
    constexpr std::uint64_t framesPerAcknowledgement = 25;
    if (++m_framesTaken % framesPerAcknowledgement == 0) {
        m_sender->sendNow({{"type", "audio_ack"}, {"frames", m_framesTaken}});
    }
    if (message[0] == static_cast<std::uint8_t>(Speaker::candidate)) {
        followSpeech(record);
    }
    const double every = std::chrono::duration<double>(m_backend.settings.assessmentEvery).count();
    if (every > 0 && record.seconds() - record.secondsAtAssessment >= every) {
        assess("time has passed", "assessment");
    }
}

void InterviewLink::followSpeech(const InterviewRecord& record) {
    const bool speaking = record.stream(Speaker::candidate).speech().isSpeaking();
    if (speaking != m_heardSpeaking) {
        m_heardSpeaking = speaking;
        tellSpeaking(speaking);
    }
}

void InterviewLink::tellSpeaking(bool speaking) {
    if (speaking != m_candidateSpeaking) {
        m_candidateSpeaking = speaking;
        m_sender->sendNow(typed(speaking ? "candidate_speaking" : "candidate_stopped_speaking"));
    }
}

void InterviewLink::assess(const std::string& occasion, std::string_view endType) {
    auto* record = runningInterview("an assessment");
    if (record == nullptr || m_assessing) {
        m_assessAgain = record != nullptr ? occasion : std::string();
        return;
    }
    m_assessing = true;
    ++record->assessments;
    record->secondsAtAssessment = record->seconds();
    record->lastAssessment = writeAssessment(*record, occasion);
    m_sender->plan({stage("assessing")});
    m_sender->planProse("assessment_chunk", record->lastAssessment);
    json::object end = describeInterview(*record);
    end["type"] = endType;
    end.erase("last_assessment");
    m_sender->plan(std::move(end), m_backend.settings.pace, [this] {
        m_assessing = false;
        if (const auto again = std::exchange(m_assessAgain, {}); !again.empty()) {
            assess(again, "assessment_done");
        }
    });
    m_sender->plan({typed("request_active_question")});
}

void InterviewLink::dropPlanned() {
    m_sender->dropPlanned();
    m_assessing = false;
    m_assessAgain.clear();
}

} // namespace sandbox
