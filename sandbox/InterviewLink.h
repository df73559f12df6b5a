// One program's link to the backend: its commands, its sound, and what the backend sends to it.
#pragma once

#include "sandbox/BackendService.h"
#include "sandbox/PacedSender.h"
#include "sandbox/WebSocketPeer.h"

#include <boost/json/object.hpp>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace sandbox {

// Network thread only.
class InterviewLink : public WebSocketEndpoint, public std::enable_shared_from_this<InterviewLink> {
public:
    explicit InterviewLink(BackendService& backend);

    void opened(std::shared_ptr<WebSocketPeer> peer) override;
    void text(std::string_view message) override;
    void binary(std::span<const std::uint8_t> message) override;
    void closed(int code) override;
    void misbehaved(std::string what) override;

    // Null once the connection has ended.
    const std::shared_ptr<WebSocketPeer>& peer() const { return m_peer; }
    // Tells the program that its session is lost, if it had one.
    void tellLoss();
    const std::string& sessionId() const { return m_sessionId; }

private:
    struct Command;
    using Clock = std::chrono::steady_clock;

    static const Command* findCommand(std::string_view type);
    bool isWellFormed(const boost::json::object& object, const Command& command);
    void setSession(const boost::json::object& object, std::string_view text);
    void chat(const boost::json::object& object, std::string_view text);
    void interviewId(const boost::json::object& object, std::string_view text);
    void activeQuestion(const boost::json::object& object, std::string_view text);
    void setFollowUps(const boost::json::object& object, std::string_view text);
    void setEnglish(const boost::json::object& object, std::string_view text);
    void newChat(const boost::json::object& object, std::string_view text);
    void endInterview(const boost::json::object& object, std::string_view text);
    void speechStart(const boost::json::object& object, std::string_view text);
    void speechStop(const boost::json::object& object, std::string_view text);

    void openInterview(const std::string& id);
    // Returns the running interview of this link's session. If there is none, returns null and records a
    // violation.
    bool hasLostInterview() const;
    InterviewRecord* runningInterview(const char* forWhat);
    void takeSound(InterviewRecord& record, std::span<const std::uint8_t> message);
    void followSpeech(const InterviewRecord& record);
    void tellSpeaking(bool speaking);
    void assess(const std::string& occasion, std::string_view endType);

    void dropPlanned();
    // Records a violation, once for each `what` on this link.
    void violation(const std::string& what);

    BackendService& m_backend;
    std::shared_ptr<WebSocketPeer> m_peer;
    std::shared_ptr<PacedSender> m_sender;
    std::shared_ptr<LinkSound> m_sound;
    std::string m_sessionId;
    std::uint64_t m_sessionSerial = 0; // of the session that this link was confirmed; 0 before
    // Whether the candidate speaks: what the program was told last, and what its sound says.
    bool m_candidateSpeaking = false;
    bool m_heardSpeaking = false;
    bool m_assessing = false;
    std::string m_assessAgain;
    Clock::time_point m_interviewEnded{};
    std::uint64_t m_framesTaken = 0;
    std::set<std::string> m_violations;
};

} // namespace sandbox
