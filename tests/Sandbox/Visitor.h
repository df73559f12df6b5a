// A signed-in visitor of the stand-in: the few steps that every test of it begins with.
#pragma once

#include "HttpClient.h"
#include "WaitFor.h"
#include "WebSocketProbe.h"

#include <Sandbox.h>

#include <boost/json.hpp>

using boost::json::object;
using platform::HttpResponse;

inline const std::string interviewId = "8f0c5b1e-2d3a-4c5b-9e8f-0123456789ab";
inline const QByteArray signInForm = "identifier=interviewer%40example.com&strategy=email_code";
inline const QByteArray signIns = "/v1/client/sign_ins";

// One request on a connection of its own. Throws platform::HttpError when no answer comes.
HttpResponse request(const QUrl& url, const QByteArray& method = "GET",
                     QList<platform::HttpHeader> headers = {}, const QByteArray& body = {});
object jsonOf(const QByteArray& text);
// The code of a refusal's first error; empty without one.
std::string errorOf(const HttpResponse& answer);
// The token in any of the forms that the sign-in service uses; empty without one.
QByteArray clientToken(const HttpResponse& answer);

class Link {
public:
    // Waits for the answer to the upgrade.
    explicit Link(const QUrl& url);
    int status() { return m_probe->httpStatus(); }
    WebSocketProbe::Task& task() { return *m_probe; }

    void sendText(const std::string& text);
    void send(const object& command) { sendText(boost::json::serialize(command)); }
    void sendBinary(const std::string& bytes);
    // Nothing when none came in time.
    std::optional<platform::WebSocketMessage> receive(int milliseconds = 5000);
    // The next message of that type; those before it go to `passed`. Throws if none comes.
    object await(std::string_view type, std::vector<object>* passed = nullptr);
    // A command and its answer.
    void echo() {
        send({{"type", "set_english_assessment"}, {"enabled", true}});
        await("set_english_assessment");
    }
    // The code of the server's close frame, 1006 when the connection broke.
    int awaitEnd();

private:
    WebSocketProbe m_probe;
    qsizetype m_read = 0;
};

// One sign-in as a program does it.
class Visitor {
public:
    // In a development instance the first thing is a dev-browser token.
    Visitor(const sandbox::Sandbox& sandbox, bool development);

    QUrl url(const QByteArray& pathAndQuery) const;
    QUrl socketUrl(const std::string& bearer) const;
    QList<platform::HttpHeader> headers() const;
    HttpResponse post(const QByteArray& path, const QByteArray& form = {}) const;
    // Sign-in, code, session. Throws std::runtime_error when any step is refused.
    void signIn();
    // The path of an action on the session.
    QByteArray session(const char* action) const { return "/v1/client/sessions/" + sessionId + action; }
    // A session token, fresh from the service.
    std::string token() const;
    HttpResponse makeSession(const std::string& machineId, const std::string& bearer) const;
    // REST call, upgrade through the proxy, set_session and its answer.
    std::unique_ptr<Link> link() const;
    // The same, as far as a running interview.
    std::unique_ptr<Link> interview() const;

    QByteArray devBrowser;
    QByteArray client;
    QByteArray sessionId;

private:
    const sandbox::Addresses& m_addresses;
    bool m_development;
};

// An audio frame: stream byte and WAV file.
std::string audioFrame(int stream, const std::vector<std::int16_t>& samples,
                       std::uint32_t sampleRate = 48000);
// 440 Hz.
std::vector<std::int16_t> tone(std::size_t samples, double amplitude, std::uint32_t sampleRate = 48000);
