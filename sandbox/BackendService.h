// The backend: the REST call that makes a session, and the links that use it.
#pragma once

#include "sandbox/Faults.h"
#include "sandbox/Http.h"
#include "sandbox/InterviewRecord.h"
#include "sandbox/Ledger.h"
#include "sandbox/Scheduler.h"
#include "sandbox/Tokens.h"

#include <boost/crc.hpp>
#include <boost/json/object.hpp>

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace sandbox {

class InterviewLink;

// How the server reports that it has lost a session, for which it has no message type.
enum class LossWording { sessionNotFound, sessionIdNotFound, notFoundSession };

// A session that the REST call made, keyed by the program's machine id.
struct BackendSession {
    // Differs from that of a session which was forgotten under the same id.
    std::uint64_t serial = 0;
    // A link has used it before.
    bool known = false;
    // Empty while no interview runs.
    std::string interviewId;
    // The server lost the interview, and the program may not know yet.
    bool interviewLost = false;
};

struct FrameCounts {
    std::uint64_t total = 0;
    // Sent before the session was confirmed.
    std::uint64_t beforeSession = 0;
    // Sent with no interview running.
    std::uint64_t withoutInterview = 0;
    // Already on their way when the interview ended, or sent after the server lost the session or the
    // interview.
    std::uint64_t late = 0;
    // Without a valid stream byte and sound file.
    std::uint64_t bad = 0;
};

// The sound of one link, including invalid frames: its binary messages in the order in which they arrived.
struct LinkSound {
    std::uint64_t frames = 0;
    // Checksum of their concatenated bytes.
    boost::crc_32_type checksum;
};

struct BackendSettings {
    // The pause between the messages of a scripted answer.
    std::chrono::milliseconds pace{120};
    // The amount of sound after which an assessment is due at the latest; 0 for assessments only after the
    // candidate's answers.
    std::chrono::milliseconds assessmentEvery{20'000};
    // Whether to keep every sample of every interview.
    bool keepSamples = false;
};

// Network thread only.
class BackendService {
public:
    BackendService(Scheduler& scheduler, Faults& faults, Ledger& ledger, const TokenMint& mint);

    HttpReply answer(const HttpRequest& request);

    void dropLinks();
    void closeLinks(std::uint16_t code, const std::string& reason);
    void silenceLinks();
    void stopAnsweringPings();
    // Open links are told at once, or with their next command.
    void forgetSessions(LossWording wording, bool atOnce);
    void forgetInterviews();
    // Sends an invalid message to every open link. `kind` is one of "malformed", "unknown_type",
    // "wrong_types", "enormous", "deeply_nested", "invalid_utf8" and "binary". Returns false for any other.
    bool misbehave(std::string_view kind);
    // Sends a text frame of the caller's choice to every open link.
    void sendText(const std::string& text);

    boost::json::object describe() const;
    // Returns null if no such interview has run. An empty id means the last one.
    const InterviewRecord* interview(const std::string& id) const;

    BackendSettings settings;

    // Used by the links.
    Scheduler& scheduler() { return m_scheduler; }
    Faults& faults() { return m_faults; }
    Ledger& ledger() { return m_ledger; }
    FrameCounts& frames() { return m_frames; }
    // Starts the record of a link that has just opened. The last links of the run are kept.
    std::shared_ptr<LinkSound> beginSound();
    BackendSession* session(const std::string& id);
    InterviewRecord& record(const std::string& interviewId);
    // Starts that interview's figures from zero.
    InterviewRecord& startRecord(const std::string& interviewId);
    std::string lossText(const std::string& sessionId) const;
    void noteCommand(boost::json::object command);
    void noteChat(std::string text) { m_lastChat = std::move(text); }
    void noteClosed(int code) { m_lastCloseCode = code; }

private:
    HttpReply makeSession(const HttpRequest& request);
    HttpReply upgrade(const HttpRequest& request);
    void noteUnexpectedHeaders(const HttpRequest& request, std::initializer_list<std::string_view> expected);
    template<typename Action>
    void forEachLink(Action action);

    Scheduler& m_scheduler;
    Faults& m_faults;
    Ledger& m_ledger;
    const TokenMint& m_mint;
    FrameCounts m_frames;
    std::deque<std::shared_ptr<LinkSound>> m_sound;
    std::map<std::string, BackendSession> m_sessions;
    std::uint64_t m_sessionsMade = 0;
    LossWording m_lossWording = LossWording::sessionNotFound;
    std::deque<InterviewRecord> m_interviews;
    std::vector<std::weak_ptr<InterviewLink>> m_links;
    std::deque<boost::json::object> m_commands;
    std::string m_lastChat;
    int m_lastCloseCode = 0;
    std::uint64_t m_linksOpened = 0;
    std::uint64_t m_upgradesRefused = 0;
};

} // namespace sandbox
