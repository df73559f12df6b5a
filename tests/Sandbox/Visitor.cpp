#include "Visitor.h"

#include <cmath>
#include <numbers>

namespace {

QByteArray text(const object& from, const char* key) {
    return QByteArray::fromStdString(std::string(from.at(key).as_string()));
}

// What an answer of status 200 says.
object body(const HttpResponse& answer) {
    if (answer.status != 200) {
        throw std::runtime_error("status " + std::to_string(answer.status));
    }
    return jsonOf(answer.body);
}

void append(std::string& bytes, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) {
        bytes += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
}

} // namespace

HttpResponse request(const QUrl& url, const QByteArray& method, QList<platform::HttpHeader> headers,
                     const QByteArray& body) {
    const auto client = platform::makeHttpClient(platform::HttpSessionKind::ephemeral);
    return ::waitFor(
        client->execute({.method = method, .url = url, .headers = std::move(headers), .body = body}));
}

object jsonOf(const QByteArray& text) {
    return boost::json::parse(text.toStdString()).as_object();
}

std::string errorOf(const HttpResponse& answer) {
    const auto said = jsonOf(answer.body);
    const auto* errors = said.if_contains("errors");
    return errors == nullptr ? std::string() : std::string(errors->at(0).at("code").as_string());
}

QByteArray clientToken(const HttpResponse& answer) {
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

Link::Link(const QUrl& url)
    : m_probe(url, 8 * 1024 * 1024) {
    m_probe->resume();
    if (!waitUntil([this] { return !m_probe.said.isEmpty(); })) {
        throw std::runtime_error("no answer to the upgrade");
    }
    m_probe.receiveAll();
}

void Link::sendText(const std::string& text) {
    m_probe->send(platform::WebSocketTask::Payload::text, QByteArray::fromStdString(text), [](auto&&) {});
}

void Link::sendBinary(const std::string& bytes) {
    m_probe->send(platform::WebSocketTask::Payload::binary, QByteArray::fromStdString(bytes), [](auto&&) {});
}

std::optional<platform::WebSocketMessage> Link::receive(int milliseconds) {
    const bool came = waitUntil([this] { return m_probe.messages.size() > m_read; }, milliseconds);
    return came ? std::optional(m_probe.messages.at(m_read++)) : std::nullopt;
}

object Link::await(std::string_view type, std::vector<object>* passed) {
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

int Link::awaitEnd() {
    waitUntil([this] { return m_probe.isOver(); });
    return m_probe.said.filter("closed").value(0).section(u' ', 1).toInt();
}

Visitor::Visitor(const sandbox::Sandbox& sandbox, bool development)
    : m_addresses(sandbox.addresses())
    , m_development(development) {
    qputenv("SSL_CERT_FILE", QByteArray::fromStdString(m_addresses.certificateFile.string()));
    qputenv("https_proxy", QByteArray::fromStdString(m_addresses.proxy));
    qputenv("no_proxy", "127.0.0.1,localhost");
    if (development) {
        const auto said = body(request(url("/v1/dev_browser"), "POST", headers().first(1)));
        devBrowser = text(said.contains("response") ? said.at("response").as_object() : said, "token");
    }
}

QUrl Visitor::url(const QByteArray& pathAndQuery) const {
    const QByteArray host = m_development ? "clerk.lumetra.test" : "clerk.live.lumetra.test";
    return QUrl::fromEncoded("https://" + host + pathAndQuery);
}

QUrl Visitor::socketUrl(const std::string& bearer) const {
    return QUrl(QString::fromStdString("wss://backend.lumetra.test/ws?token=" + bearer));
}

QList<platform::HttpHeader> Visitor::headers() const {
    const auto& key = m_development ? m_addresses.developmentKey : m_addresses.productionKey;
    QList<platform::HttpHeader> result{{"Clerk-Publishable-Key", QByteArray::fromStdString(key)},
                                       {"Content-Type", "application/x-www-form-urlencoded"}};
    if (!client.isEmpty()) {
        result.append({"Cookie", "__client=" + client});
    }
    return result;
}

HttpResponse Visitor::post(const QByteArray& path, const QByteArray& form) const {
    const auto query = m_development ? "?__clerk_db_jwt=" + devBrowser : QByteArray();
    return request(url(path + query), "POST", headers(), form);
}

void Visitor::signIn() {
    client.clear();
    const auto created = post(signIns, signInForm);
    const auto id = text(body(created).at("response").as_object(), "id");
    client = clientToken(created);
    const auto attempt =
        post(signIns + '/' + id + "/attempt_first_factor", "code=424242&strategy=email_code");
    sessionId = text(body(attempt).at("response").as_object(), "created_session_id");
    client = clientToken(attempt);
}

std::string Visitor::token() const {
    return text(body(post(session("/tokens"))), "jwt").toStdString();
}

HttpResponse Visitor::makeSession(const std::string& machineId, const std::string& bearer) const {
    const object call{{"metadata", {{"client", "corvane-interview-assistant-native"}}},
                      {"session_id", machineId}};
    return request(QUrl("https://backend.lumetra.test/api/interview-sessions"), "POST",
                   {{"Authorization", "Bearer " + QByteArray::fromStdString(bearer)},
                    {"Content-Type", "application/json"}},
                   QByteArray::fromStdString(boost::json::serialize(call)));
}

std::unique_ptr<Link> Visitor::link() const {
    const auto bearer = token();
    auto result = std::make_unique<Link>(socketUrl(bearer));
    makeSession("machine", bearer);
    result->send({{"type", "set_session"}, {"session_id", "machine"}});
    result->await("set_session");
    return result;
}

std::unique_ptr<Link> Visitor::interview() const {
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
