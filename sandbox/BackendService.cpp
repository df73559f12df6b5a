#include "sandbox/BackendService.h"

#include "sandbox/InterviewLink.h"

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>

namespace sandbox {

namespace json = boost::json;

namespace {

constexpr std::size_t keptInterviews = 16;
constexpr std::size_t keptCommands = 500;
constexpr std::size_t keptSounds = 64;
constexpr std::uint64_t enormousBytes = 100'000'000;

HttpReply refusal(int status, std::string_view reason) {
    return HttpReply::json(status, json::serialize(json::object{{"error", reason}}));
}

// Returns the machine id, or nullopt unless the body is exactly the one that the call must have.
std::optional<std::string> sessionIdIn(const std::string& body) {
    boost::system::error_code error;
    const json::value value = json::parse(body, error);
    const auto* object = error ? nullptr : value.if_object();
    const auto* id = object != nullptr ? object->if_contains("session_id") : nullptr;
    const auto* metadata = object != nullptr ? object->if_contains("metadata") : nullptr;
    const json::value expected{{"client", "corvane-interview-assistant-native"}};
    if (id == nullptr || !id->is_string() || id->get_string().empty() || metadata == nullptr ||
        *metadata != expected || object->size() != 2) {
        return std::nullopt;
    }
    return std::string(id->get_string());
}

} // namespace

BackendService::BackendService(Scheduler& scheduler, Faults& faults, Ledger& ledger, const TokenMint& mint)
    : m_scheduler(scheduler)
    , m_faults(faults)
    , m_ledger(ledger)
    , m_mint(mint) {}

HttpReply BackendService::answer(const HttpRequest& request) {
    const bool named = request.host.find_first_not_of("0123456789.") != std::string::npos;
    if (request.secure && named && request.serverName != request.host) {
        m_ledger.violation("TLS server name is not the host of the backend request");
    }
    if (request.path == "/api/interview-sessions") {
        return makeSession(request);
    }
    return request.path == "/ws" ? upgrade(request) : refusal(404, "No such path");
}

HttpReply BackendService::makeSession(const HttpRequest& request) {
    if (request.method != "POST") {
        return refusal(405, "POST only");
    }
    if (const int status = m_faults.rest.take(); status != 0) {
        return refusal(status, "As requested");
    }
    const auto* authorization = request.header("authorization");
    if (authorization == nullptr || !authorization->starts_with("Bearer ")) {
        m_ledger.violation("REST call without a bearer token");
        return refusal(401, "No bearer token");
    }
    const auto verdict = m_mint.check(authorization->substr(7));
    if (verdict != TokenMint::Verdict::good) {
        return refusal(401, "Token: " + std::string(TokenMint::describe(verdict)));
    }
    noteUnexpectedHeaders(request, {"authorization", "content-type"});
    const auto* type = request.header("content-type");
    const auto id = sessionIdIn(request.body);
    if (request.hasQuery || type == nullptr || *type != "application/json" || !id) {
        m_ledger.violation("REST call whose type, query or body is not as it must be");
        return refusal(422, "Malformed request");
    }
    const auto [session, isNew] = m_sessions.try_emplace(*id);
    if (isNew) {
        session->second.serial = ++m_sessionsMade;
    }
    return isNew ? HttpReply::json(201, json::serialize(json::object{{"session_id", *id}}))
                 : refusal(409, "The session exists");
}

void BackendService::noteUnexpectedHeaders(const HttpRequest& request,
                                           std::initializer_list<std::string_view> expected) {
    for (const auto& [name, value] : request.headers) {
        if (!isTransportHeader(name) && std::find(expected.begin(), expected.end(), name) == expected.end()) {
            m_ledger.violation(request.path + " with a header " + name);
        }
    }
}

HttpReply BackendService::upgrade(const HttpRequest& request) {
    if (const int status = m_faults.upgrade.take(); status != 0) {
        ++m_upgradesRefused;
        return refusal(status, "As requested");
    }
    const auto* upgradeHeader = request.header("upgrade");
    if (request.method != "GET" || upgradeHeader == nullptr) {
        return refusal(426, "WebSocket only");
    }
    noteUnexpectedHeaders(
        request, {"upgrade", "sec-websocket-key", "sec-websocket-version", "sec-websocket-extensions"});
    const auto* token = request.queryItem("token");
    if (token == nullptr || request.query.size() != 1) {
        m_ledger.violation("upgrade whose query is not the token alone");
        return refusal(401, "No token");
    }
    if (const auto verdict = m_mint.check(*token); verdict != TokenMint::Verdict::good) {
        ++m_upgradesRefused;
        return refusal(401, "Token: " + std::string(TokenMint::describe(verdict)));
    }
    ++m_linksOpened;
    const auto link = std::make_shared<InterviewLink>(*this);
    std::erase_if(m_links, [](const auto& weak) { return weak.expired(); });
    m_links.push_back(link);
    HttpReply reply;
    reply.status = 101;
    reply.endpoint = link;
    return reply;
}

template<typename Action>
void BackendService::forEachLink(Action action) {
    const auto links = m_links;
    for (const auto& weak : links) {
        if (const auto link = weak.lock(); link && link->peer()) {
            action(*link, *link->peer());
        }
    }
}

void BackendService::dropLinks() {
    forEachLink([](InterviewLink&, WebSocketPeer& peer) { peer.drop(); });
}

void BackendService::closeLinks(std::uint16_t code, const std::string& reason) {
    forEachLink([&](InterviewLink&, WebSocketPeer& peer) { peer.close(code, reason); });
}

void BackendService::silenceLinks() {
    forEachLink([](InterviewLink&, WebSocketPeer& peer) { peer.fallSilent(); });
}

void BackendService::stopAnsweringPings() {
    forEachLink([](InterviewLink&, WebSocketPeer& peer) { peer.ignoresPings = true; });
}

void BackendService::forgetSessions(LossWording wording, bool atOnce) {
    m_lossWording = wording;
    m_sessions.clear();
    if (atOnce) {
        forEachLink([](InterviewLink& link, WebSocketPeer&) { link.tellLoss(); });
    }
}

void BackendService::forgetInterviews() {
    for (auto& [id, session] : m_sessions) {
        session.interviewLost = session.interviewLost || !session.interviewId.empty();
        session.interviewId.clear();
    }
}

bool BackendService::misbehave(std::string_view kind) {
    if (kind == "enormous") {
        forEachLink([](InterviewLink&, WebSocketPeer& peer) { peer.sendEnormous(enormousBytes); });
        return true;
    }
    if (kind == "binary") {
        forEachLink([](InterviewLink&, WebSocketPeer& peer) { peer.sendBinary("\x01\x02\x03"); });
        return true;
    }
    if (kind == "wrong_types") {
        for (const char* text :
             {R"({"type":"chat_chunk","text":7})", R"({"type":"chat_questions","questions":[]})",
              R"({"type":"processing_status"})", R"({"type":12})", R"(["type"])",
              R"({"type":"set_english_assessment","enabled":"yes","session_id":null})"}) {
            sendText(text);
        }
        return true;
    }
    const std::array<std::pair<std::string_view, std::string>, 4> texts{
        {{"malformed", R"({"type":"chat_chunk","text":)"},
         {"unknown_type", R"({"type":"brand_new","text":"x"})"},
         {"deeply_nested", std::string(100'000, '[')},
         {"invalid_utf8", "{\"type\":\"chat_chunk\",\"text\":\"\xC3\x28\"}"}}};
    const auto* found =
        std::find_if(texts.begin(), texts.end(), [&](const auto& t) { return t.first == kind; });
    if (found == texts.end()) {
        return false;
    }
    sendText(found->second);
    return true;
}

void BackendService::sendText(const std::string& text) {
    forEachLink([&](InterviewLink&, WebSocketPeer& peer) { peer.sendText(text); });
}

const InterviewRecord* BackendService::interview(const std::string& id) const {
    const auto found = std::find_if(m_interviews.rbegin(), m_interviews.rend(),
                                    [&](const auto& record) { return id.empty() || record.id == id; });
    return found == m_interviews.rend() ? nullptr : &*found;
}

BackendSession* BackendService::session(const std::string& id) {
    const auto found = m_sessions.find(id);
    return found == m_sessions.end() ? nullptr : &found->second;
}

InterviewRecord& BackendService::record(const std::string& interviewId) {
    const auto found = std::find_if(m_interviews.begin(), m_interviews.end(),
                                    [&](const auto& record) { return record.id == interviewId; });
    return found == m_interviews.end() ? startRecord(interviewId) : *found;
}

InterviewRecord& BackendService::startRecord(const std::string& interviewId) {
    std::erase_if(m_interviews, [&](const auto& record) { return record.id == interviewId; });
    if (m_interviews.size() >= keptInterviews) {
        m_interviews.pop_front();
    }
    auto& record = m_interviews.emplace_back();
    record.id = interviewId;
    if (settings.keepSamples) {
        for (auto& stream : record.streams) {
            stream.keepSamples();
        }
    }
    return record;
}

std::shared_ptr<LinkSound> BackendService::beginSound() {
    if (m_sound.size() >= keptSounds) {
        m_sound.pop_front();
    }
    return m_sound.emplace_back(std::make_shared<LinkSound>());
}

std::string BackendService::lossText(const std::string& sessionId) const {
    switch (m_lossWording) {
    case LossWording::sessionIdNotFound:
        return "session " + sessionId + " not found";
    case LossWording::notFoundSession:
        return "Not found: session";
    case LossWording::sessionNotFound:
        break;
    }
    return "Session not found";
}

void BackendService::noteCommand(json::object command) {
    m_commands.push_back(std::move(command));
    if (m_commands.size() > keptCommands) {
        m_commands.pop_front();
    }
}

json::object BackendService::describe() const {
    json::array sessions;
    for (const auto& [id, session] : m_sessions) {
        sessions.push_back(
            json::object{{"id", id}, {"known", session.known}, {"interview_id", session.interviewId}});
    }
    json::array interviews;
    for (const auto& record : m_interviews) {
        interviews.push_back(describeInterview(record));
    }
    json::array sound;
    for (const auto& link : m_sound) {
        sound.push_back(json::object{{"frames", link->frames}, {"crc32", link->checksum.checksum()}});
    }
    const auto open = std::count_if(m_links.begin(), m_links.end(), [](const auto& weak) {
        const auto link = weak.lock();
        return link && link->peer();
    });
    return {{"links",
             {{"open", open},
              {"opened", m_linksOpened},
              {"upgrades_refused", m_upgradesRefused},
              {"last_close_code", m_lastCloseCode},
              {"sound", std::move(sound)}}},
            {"sessions", std::move(sessions)},
            {"interviews", std::move(interviews)},
            {"frames",
             {{"total", m_frames.total},
              {"before_session", m_frames.beforeSession},
              {"without_interview", m_frames.withoutInterview},
              {"late", m_frames.late},
              {"bad", m_frames.bad}}},
            {"commands", json::array(m_commands.begin(), m_commands.end())},
            {"last_chat", m_lastChat}};
}

} // namespace sandbox
