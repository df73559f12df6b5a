// A signed-in visitor of the stand-in: the few steps that every test of the backend begins with.
#pragma once

#include "RawClient.h"

#include <Sandbox.h>

#include <QTest>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

inline const std::string interviewId = "8f0c5b1e-2d3a-4c5b-9e8f-0123456789ab";
inline const std::string formType = "application/x-www-form-urlencoded";
inline const std::string signInForm = "identifier=interviewer%40example.com&strategy=email_code";

// The token in any of the forms that the sign-in service uses; empty without one.
std::string clientToken(const RawAnswer& answer);

// One sign-in as a program does it.
class Visitor {
public:
    // In a development instance the first thing is a dev-browser token.
    Visitor(sandbox::Sandbox& sandbox, bool development);

    RawAnswer post(const std::string& path, const std::string& form);
    // Sign-in, code, session. Throws std::runtime_error when any step is refused.
    void signIn();
    // A session token, fresh from the service.
    std::string token();
    RawAnswer makeSession(const std::string& machineId, const std::string& bearer);
    // REST call, upgrade through the proxy, set_session and its answer.
    std::unique_ptr<RawLink> link(const std::string& machineId = "machine",
                                  std::string* answerType = nullptr);
    // The same, as far as a running interview.
    std::unique_ptr<RawLink> interview();

    Route signInRoute() const;
    Route backendRoute() const;
    Headers headers() const;

    std::string devBrowser;
    std::string client;
    std::string sessionId;

private:
    sandbox::Sandbox& m_sandbox;
    bool m_development;
};

// An audio frame: stream byte and WAV file.
std::string audioFrame(int stream, const std::vector<std::int16_t>& samples,
                       std::uint32_t sampleRate = 48000);
// 440 Hz; amplitude 0 is silence.
std::vector<std::int16_t> tone(std::size_t samples, double amplitude, std::uint32_t sampleRate = 48000);
