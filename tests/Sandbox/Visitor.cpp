#include "Visitor.h"

#include <boost/json/serialize.hpp>

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace {

std::string text(const boost::json::object& object, const char* key) {
    return std::string(object.at(key).as_string());
}

void need(const RawAnswer& answer, int status) {
    if (answer.status != status) {
        throw std::runtime_error("status " + std::to_string(answer.status) + ": " + answer.body);
    }
}

void append(std::string& bytes, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) {
        bytes += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
}

} // namespace

std::string clientToken(const RawAnswer& answer) {
    for (const auto& value : answer.all("Authorization")) {
        return value.starts_with("Bearer ") ? value.substr(7) : value;
    }
    for (const auto& value : answer.all("Set-Cookie")) {
        if (const auto at = value.find("__client="); at != std::string::npos) {
            return value.substr(at + 9, value.find(';', at) - at - 9);
        }
    }
    return {};
}

Visitor::Visitor(sandbox::Sandbox& sandbox, bool development)
    : m_sandbox(sandbox)
    , m_development(development) {
    if (development) {
        const auto answer = request(signInRoute(), "POST", "/v1/dev_browser",
                                    {{"Clerk-Publishable-Key", headers()[0].second}}, "");
        need(answer, 200);
        const auto body = answer.json();
        devBrowser = text(body.contains("response") ? body.at("response").as_object() : body, "token");
    }
}

Route Visitor::signInRoute() const {
    const auto& a = m_sandbox.addresses();
    return Route::byProxy(a.proxy, m_development ? "clerk.lumetra.test" : "clerk.live.lumetra.test",
                          a.certificateFile.string());
}

Route Visitor::backendRoute() const {
    const auto& a = m_sandbox.addresses();
    return Route::byProxy(a.proxy, "backend.lumetra.test", a.certificateFile.string());
}

Headers Visitor::headers() const {
    const auto& a = m_sandbox.addresses();
    Headers result{{"Clerk-Publishable-Key", m_development ? a.developmentKey : a.productionKey},
                   {"Content-Type", formType}};
    if (!client.empty()) {
        result.emplace_back("Cookie", "__client=" + client);
    }
    return result;
}

RawAnswer Visitor::post(const std::string& path, const std::string& form) {
    const auto query = m_development ? "?__clerk_db_jwt=" + devBrowser : "";
    return request(signInRoute(), "POST", path + query, headers(), form);
}

void Visitor::signIn() {
    client.clear();
    const auto created = post("/v1/client/sign_ins", signInForm);
    need(created, 200);
    client = clientToken(created);
    const auto id = text(created.json().at("response").as_object(), "id");
    const auto attempt =
        post("/v1/client/sign_ins/" + id + "/attempt_first_factor", "code=424242&strategy=email_code");
    need(attempt, 200);
    client = clientToken(attempt);
    sessionId = text(attempt.json().at("response").as_object(), "created_session_id");
}

std::string Visitor::token() {
    const auto answer = post("/v1/client/sessions/" + sessionId + "/tokens", "");
    need(answer, 200);
    return text(answer.json(), "jwt");
}

RawAnswer Visitor::makeSession(const std::string& machineId, const std::string& bearer) {
    const boost::json::object body{{"metadata", {{"client", "corvane-interview-assistant-native"}}},
                                   {"session_id", machineId}};
    return request(backendRoute(), "POST", "/api/interview-sessions",
                   {{"Authorization", "Bearer " + bearer}, {"Content-Type", "application/json"}},
                   boost::json::serialize(body));
}

std::unique_ptr<RawLink> Visitor::link(const std::string& machineId, std::string* answerType) {
    const auto bearer = token();
    auto link = std::make_unique<RawLink>(backendRoute(), "/ws?token=" + bearer);
    makeSession(machineId, bearer);
    link->send({{"type", "set_session"}, {"session_id", machineId}});
    const auto answer = link->receive();
    if (answerType != nullptr && answer) {
        *answerType = answer->payload;
    }
    return link;
}

std::unique_ptr<RawLink> Visitor::interview() {
    auto result = link();
    result->send({{"type", "chat"}, {"message", "I want to start interview with id " + interviewId}});
    result->await("chat_questions");
    result->send({{"type", "interview_id"}, {"id", interviewId}});
    result->await("request_active_question");
    return result;
}

std::string audioFrame(int stream, const std::vector<std::int16_t>& samples, std::uint32_t sampleRate) {
    const auto dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    std::string bytes(1, static_cast<char>(stream));
    bytes += "RIFF";
    append(bytes, 36 + dataBytes, 4);
    bytes += "WAVEfmt ";
    for (const auto& [value, size] : std::vector<std::pair<std::uint32_t, int>>{
             {16, 4}, {1, 2}, {1, 2}, {sampleRate, 4}, {sampleRate * 2, 4}, {2, 2}, {16, 2}}) {
        append(bytes, value, size);
    }
    bytes += "data";
    append(bytes, dataBytes, 4);
    for (const auto sample : samples) {
        append(bytes, static_cast<std::uint16_t>(sample), 2);
    }
    return bytes;
}

std::vector<std::int16_t> tone(std::size_t samples, double amplitude, std::uint32_t sampleRate) {
    std::vector<std::int16_t> result(samples);
    for (std::size_t i = 0; i < samples; ++i) {
        const double phase = 2 * std::numbers::pi * 440 * static_cast<double>(i) / sampleRate;
        result[i] = static_cast<std::int16_t>(32767 * amplitude * std::sin(phase));
    }
    return result;
}
