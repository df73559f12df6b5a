// A signed-in user of the stand-in: the few steps that every test of it begins with.
#pragma once

#include "Platform/Core/SystemClock.h"
#include "Platform/Network/HttpClient.h"
#include "Services/ClerkAuthService.h"
#include "Services/ClerkClient.h"
#include "Services/CorvaneAPIService.h"
#include "Services/KeychainService.h"
#include "Utilities/WAVEncoder.h"
#include "tests/Platform/Network/WebSocketProbe.h"
#include "tests/Support/MemorySecretStore.h"
#include "tests/Support/WaitFor.h"

#include "sandbox/Sandbox.h"

#include <boost/json.hpp>

#include <cmath>
#include <numbers>

using boost::json::object;

// One connection to the backend.
class Link {
public:
    // Waits for the answer to the upgrade.
    explicit Link(const platform::Secret& token)
        : m_probe(QUrl("wss://backend.lumetra.test/ws?token=" + token.reveal()), 8 * 1024 * 1024) {
        if (!m_probe.starts()) {
            throw std::runtime_error("no answer to the upgrade");
        }
        m_probe.receiveAll();
    }

    void send(const object& command) {
        m_probe->send(platform::WebSocketTask::Payload::text,
                      QByteArray::fromStdString(boost::json::serialize(command)), [](auto&&) {});
    }
    void sendBinary(const QByteArray& bytes) {
        m_probe->send(platform::WebSocketTask::Payload::binary, bytes, [](auto&&) {});
    }
    // The next message of that type; those before it go to `passed`. Throws if none comes.
    object await(std::string_view type, std::vector<object>* passed = nullptr) {
        while (waitUntil([this] { return m_probe.messages.size() > m_read; })) {
            const auto message = m_probe.messages.at(m_read++).payload.toStdString();
            auto said = boost::json::parse(message).as_object();
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

private:
    WebSocketProbe m_probe;
    qsizetype m_read = 0;
};

// The program's own services against the stand-in, as far as a session.
class Visitor {
public:
    explicit Visitor(const sandbox::Sandbox& sandbox)
        : publishableKey(QString::fromStdString(sandbox.addresses().productionKey)) {
        const auto& addresses = sandbox.addresses();
        qputenv("SSL_CERT_FILE", QByteArray::fromStdString(addresses.certificateFile.string()));
        qputenv("https_proxy", QByteArray::fromStdString(addresses.proxy));
        qputenv("no_proxy", "127.0.0.1,localhost");
        ::waitFor(m_auth.startSignIn("interviewer@example.com"));
        ::waitFor(m_auth.verifyCode(platform::Secret("424242")));
    }

    platform::Secret token() { return ::waitFor(m_auth.getFreshJWT()); }
    void makeSession() { ::waitFor(m_backend.ensureMachineSession()); }
    // With a running interview.
    std::unique_ptr<Link> interview() {
        const std::string id = "8f0c5b1e-2d3a-4c5b-9e8f-0123456789ab";
        auto link = std::make_unique<Link>(token());
        makeSession();
        link->send({{"type", "set_session"}, {"session_id", "machine"}});
        link->await("set_session");
        link->send({{"type", "chat"}, {"message", "I want to start interview with id " + id}});
        link->await("chat_questions");
        link->send({{"type", "interview_id"}, {"id", id}});
        link->await("request_active_question");
        return link;
    }

    const QString publishableKey;
    const std::unique_ptr<platform::HttpClient> http =
        platform::makeHttpClient(platform::HttpSessionKind::ephemeral);

private:
    MemorySecretStore m_store;
    corvane::KeychainService m_keychain{QStringLiteral("visitor"), m_store};
    platform::SystemClock m_clock;
    corvane::URLSessionClerkExecutor m_executor{*http};
    corvane::ClerkClient m_client{corvane::ClerkConfig(publishableKey), m_executor,
                                  corvane::ClerkClient::DevBrowserStorage::inMemory()};
    corvane::ClerkAuthService m_auth{m_client, m_keychain, m_clock};
    corvane::CorvaneAPIService m_backend{QStringLiteral("https://backend.lumetra.test"), &m_auth, *http,
                                         QStringLiteral("machine")};
};

// 440 Hz.
inline std::vector<float> tone(std::size_t samples, double amplitude, std::uint32_t sampleRate = 48000) {
    std::vector<float> result(samples);
    for (std::size_t i = 0; i < samples; ++i) {
        const double phase = 2 * std::numbers::pi * 440 * static_cast<double>(i) / sampleRate;
        result[i] = static_cast<float>(amplitude * std::sin(phase));
    }
    return result;
}

inline QByteArray audioFrame(std::uint8_t stream, std::span<const float> samples,
                             std::uint32_t sampleRate = 48000) {
    return corvane::WAVEncoder().encodeWithFlag(samples, sampleRate, stream);
}
