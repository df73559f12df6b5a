// A local stand-in for the sign-in service and the backend, on loopback addresses and with its own thread.
#pragma once

#include <boost/json/object.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

struct Options {
    // Holds the certificate authority and the sign-in service's data; created if it is missing. If empty, a
    // temporary folder is used and removed at the end. A stand-in that is restarted on the same folder is
    // still trusted and still knows who is signed in.
    std::filesystem::path folder;
    // 0 picks a free port.
    unsigned short proxyPort = 0;
    unsigned short httpsPort = 0;
    unsigned short httpPort = 0;
    unsigned short controlPort = 0;
    // The lifetime of session tokens.
    std::chrono::seconds tokenLifetime{60};
    // The pause between the messages of a scripted answer.
    std::chrono::milliseconds pace{120};
    // The amount of sound after which an assessment is due at the latest; 0 for assessments only after the
    // candidate's answers.
    std::chrono::milliseconds assessmentEvery{20'000};
    // Whether to keep every sample, for samples() and the action "save-sound".
    bool keepSamples = false;
    // Called on the stand-in's thread with each line of its log, which contains no token.
    std::function<void(const std::string&)> log;
};

// The addresses of everything. The URLs have no trailing slash.
struct Addresses {
    std::filesystem::path folder;
    // The value for SSL_CERT_FILE.
    std::filesystem::path certificateFile;
    // The value for https_proxy. The proxy is the only way to the two sign-in hosts, since a publishable key
    // cannot contain a port.
    std::string proxy;
    std::string developmentKey;
    std::string productionKey;
    // Through the proxy.
    std::string backend;
    // Without the proxy.
    std::string backendTls;
    std::string backendPlain;
    std::string control;
};

// One direction of an interview's sound: 0 the interviewer, 1 the candidate, as in the frames.
enum class Side { interviewer = 0, candidate = 1 };

// Every operation may be called from any thread except the stand-in's own, and has taken effect when it
// returns.
class Sandbox {
public:
    // Ready to serve when it returns. Throws std::exception if a port or the folder is not available.
    explicit Sandbox(Options options = {});
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    const Addresses& addresses() const;
    // Returns the addresses as a JSON object, with the account, the code and the environment variables.
    boost::json::object describe() const;

    // Carries out an action of the control address, which are faults and settings (README.md lists them).
    // Throws std::invalid_argument for an unknown name or parameter.
    boost::json::object apply(std::string_view action, boost::json::object parameters = {});
    // Returns everything that was received and noticed so far; README.md explains the keys.
    boost::json::object state() const;
    // Returns what the program did that it must not do.
    std::vector<std::string> violations() const;
    // Returns every received sample of one side of the last interview; empty unless Options::keepSamples.
    std::vector<std::int16_t> samples(Side side) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace sandbox
