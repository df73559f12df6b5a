// A signed-in visitor of the stand-in: the few steps that every test of it begins with.
#pragma once

#include "Platform/Network/HttpClient.h"
#include "tests/Platform/Network/WebSocketProbe.h"
#include "tests/Support/WaitFor.h"

#include <cmath>
#include <numbers>

#include "sandbox/Sandbox.h"

#include <boost/json.hpp>

using boost::json::object;
using platform::HttpResponse;

inline const std::string interviewId = "8f0c5b1e-2d3a-4c5b-9e8f-0123456789ab";
inline const QByteArray signInForm = "identifier=interviewer%40example.com&strategy=email_code";
inline const QByteArray signIns = "/v1/client/sign_ins";

inline object jsonOf(const QByteArray& text) {
    return boost::json::parse(text.toStdString()).as_object();
}

inline QByteArray text(const object& from, const char* key) {
    return QByteArray::fromStdString(std::string(from.at(key).as_string()));
}

// What an answer of status 200 says.
inline object body(const HttpResponse& answer) {
    if (answer.status != 200) {
        throw std::runtime_error("status " + std::to_string(answer.status));
    }
    return jsonOf(answer.body);
}

inline void append(std::string& bytes, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) {
        bytes += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
}

// One request on a connection of its own. Throws platform::HttpError when no answer comes.
inline HttpResponse request(const QUrl& url, const QByteArray& method = "GET",
                            QList<platform::HttpHeader> headers = {}, const QByteArray& content = {}) {
    const auto client = platform::makeHttpClient(platform::HttpSessionKind::ephemeral);
    return ::waitFor(
        client->execute({.method = method, .url = url, .headers = std::move(headers), .body = content}));
}

// The token in any of the forms that the sign-in service uses; empty without one.
inline QByteArray clientToken(const HttpResponse& answer) {
    if (const auto value = answer.header("Authorization")) {
        return value->startsWith("Bearer ") ? value->mid(7) : *value;
    }
    for (const auto& [name, value] : answer.headers) {
        const auto at = value.indexOf("__client=");
        if (name.toLower() == "set-cookie" && at >= 0) {
            return value.mid(at + 9, value.indexOf(';', at) - at - 9);
        }
    }
    return {};
}

class Link {
public:
    // Waits for the answer to the upgrade.
    explicit Link(const QUrl& url)
        : m_probe(url, 8 * 1024 * 1024) {
        m_probe->resume();
        if (!waitUntil([this] { return !m_probe.said.isEmpty(); })) {
            throw std::runtime_error("no answer to the upgrade");
        }
        m_probe.receiveAll();
    }

    void sendText(const std::string& text) {
        m_probe->send(platform::WebSocketTask::Payload::text, QByteArray::fromStdString(text), [](auto&&) {});
    }
    void send(const object& command) { sendText(boost::json::serialize(command)); }
    void sendBinary(const std::string& bytes) {
        m_probe->send(platform::WebSocketTask::Payload::binary, QByteArray::fromStdString(bytes),
                      [](auto&&) {});
    }
    // Nothing when none came in time.
    std::optional<platform::WebSocketMessage> receive(int milliseconds = 5000) {
        const bool came = waitUntil([this] { return m_probe.messages.size() > m_read; }, milliseconds);
        return came ? std::optional(m_probe.messages.at(m_read++)) : std::nullopt;
    }
    // The next message of that type; those before it go to `passed`. Throws if none comes.
    object await(std::string_view type, std::vector<object>* passed = nullptr) {
        while (const auto message = receive()) {
            auto said = jsonOf(message->payload);
            if (said.at("type").as_string() == type) {
                return said;
            }
            if (passed != nullptr) {
                passed->push_back(std::move(said));
            }
        }
        throw std::runtime_error("no " + std::string(type));
    }
    // A command and its answer.
    void echo() {
        send({{"type", "set_english_assessment"}, {"enabled", true}});
        await("set_english_assessment");
    }
    // The code of the server's close frame, 1006 when the connection broke.
    int awaitEnd() {
        waitUntil([this] { return m_probe.isOver(); });
        return m_probe.said.filter("closed").value(0).section(u' ', 1).toInt();
    }

private:
    WebSocketProbe m_probe;
    qsizetype m_read = 0;
};

// One sign-in as a program does it.
class Visitor {
public:
    explicit Visitor(const sandbox::Sandbox& sandbox)
        : m_addresses(sandbox.addresses()) {
        qputenv("SSL_CERT_FILE", QByteArray::fromStdString(m_addresses.certificateFile.string()));
        qputenv("https_proxy", QByteArray::fromStdString(m_addresses.proxy));
        qputenv("no_proxy", "127.0.0.1,localhost");
    }

    QUrl url(const QByteArray& pathAndQuery) const {
        return QUrl::fromEncoded("https://clerk.live.lumetra.test" + pathAndQuery);
    }
    QUrl socketUrl(const std::string& bearer) const {
        return QUrl(QString::fromStdString("wss://backend.lumetra.test/ws?token=" + bearer));
    }
    QList<platform::HttpHeader> headers() const {
        QList<platform::HttpHeader> result{
            {"Clerk-Publishable-Key", QByteArray::fromStdString(m_addresses.productionKey)},
            {"Content-Type", "application/x-www-form-urlencoded"}};
        if (!client.isEmpty()) {
            result.append({"Cookie", "__client=" + client});
        }
        return result;
    }
    HttpResponse post(const QByteArray& path, const QByteArray& form = {}) const {
        return request(url(path), "POST", headers(), form);
    }
    // Sign-in, code, session. Throws std::runtime_error when any step is refused.
    void signIn() {
        client.clear();
        const auto created = post(signIns, signInForm);
        const auto id = text(body(created).at("response").as_object(), "id");
        client = clientToken(created);
        const auto attempt =
            post(signIns + '/' + id + "/attempt_first_factor", "code=424242&strategy=email_code");
        sessionId = text(body(attempt).at("response").as_object(), "created_session_id");
        client = clientToken(attempt);
    }
    // The path of an action on the session.
    QByteArray session(const char* action) const { return "/v1/client/sessions/" + sessionId + action; }
    // A session token, fresh from the service.
    std::string token() const { return text(body(post(session("/tokens"))), "jwt").toStdString(); }
    HttpResponse makeSession(const std::string& machineId, const std::string& bearer) const {
        const object call{{"metadata", {{"client", "corvane-interview-assistant-native"}}},
                          {"session_id", machineId}};
        return request(QUrl("https://backend.lumetra.test/api/interview-sessions"), "POST",
                       {{"Authorization", "Bearer " + QByteArray::fromStdString(bearer)},
                        {"Content-Type", "application/json"}},
                       QByteArray::fromStdString(boost::json::serialize(call)));
    }
    // REST call, upgrade through the proxy, set_session and its answer.
    std::unique_ptr<Link> link() const {
        const auto bearer = token();
        auto result = std::make_unique<Link>(socketUrl(bearer));
        makeSession("machine", bearer);
        result->send({{"type", "set_session"}, {"session_id", "machine"}});
        result->await("set_session");
        return result;
    }
    // The same, as far as a running interview.
    std::unique_ptr<Link> interview() const {
        auto result = link();
        result->send({{"type", "chat"}, {"message", "I want to start interview with id " + interviewId}});
        result->await("chat_questions");
        result->send({{"type", "interview_id"}, {"id", interviewId}});
        result->await("request_active_question");
        return result;
    }

    QByteArray client;
    QByteArray sessionId;

private:
    const sandbox::Addresses& m_addresses;
};

// Stream byte and WAV file.
inline std::string audioFrame(int stream, const std::vector<std::int16_t>& samples,
                              std::uint32_t sampleRate = 48000) {
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

// 440 Hz.
inline std::vector<std::int16_t> tone(std::size_t samples, double amplitude,
                                      std::uint32_t sampleRate = 48000) {
    std::vector<std::int16_t> result(samples);
    for (std::size_t i = 0; i < samples; ++i) {
        const double phase = 2 * std::numbers::pi * 440 * static_cast<double>(i) / sampleRate;
        result[i] = static_cast<std::int16_t>(32767 * amplitude * std::sin(phase));
    }
    return result;
}
