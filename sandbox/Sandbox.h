// A local stand-in for the sign-in service and the backend, on loopback addresses and a thread of its own.
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
    // For the certificate authority and the sign-in service's memory; made if missing. Empty: a temporary
    // folder, removed at the end. A stand-in started again on the same folder is trusted as before and still
    // knows who is signed in.
    std::filesystem::path folder;
    // 0: a free port.
    unsigned short proxyPort = 0;
    unsigned short httpsPort = 0;
    unsigned short httpPort = 0;
    unsigned short controlPort = 0;
    // Of the session tokens.
    std::chrono::seconds tokenLifetime{60};
    // Between the messages of a scripted answer.
    std::chrono::milliseconds pace{120};
    // An assessment at least after so much sound; 0: only after the candidate's answers.
    std::chrono::milliseconds assessmentEvery{20'000};
    // Keep every sample, for samples() and the action "save-sound".
    bool keepSamples = false;
    // Called on the stand-in's thread with each line of its log, which holds no token.
    std::function<void(const std::string&)> log;
};

// Where everything is. The URLs have no trailing slash.
struct Addresses {
    std::filesystem::path folder;
    // What SSL_CERT_FILE must name.
    std::filesystem::path certificateFile;
    // What https_proxy must name: the only way to the two sign-in hosts, since a publishable key admits no
    // port.
    std::string proxy;
    std::string developmentKey;
    std::string productionKey;
    // Through the proxy.
    std::string backend;
    // Without it.
    std::string backendTls;
    std::string backendPlain;
    std::string control;
};

// One direction of an interview's sound: 0 the interviewer, 1 the candidate, as in the frames.
enum class Side { interviewer = 0, candidate = 1 };

// Every operation may be called from any thread but the stand-in's own, and has taken effect when it returns.
class Sandbox {
public:
    // Serves when it returns. Throws std::exception when a port or the folder cannot be had.
    explicit Sandbox(Options options = {});
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    const Addresses& addresses() const;
    // The same as a JSON object, with account, code and environment variables.
    boost::json::object describe() const;

    // Faults and settings, by the names of the control address (README.md lists them). Throws
    // std::invalid_argument for an unknown name or parameter.
    boost::json::object apply(std::string_view action, boost::json::object parameters = {});
    // All that was received and noticed so far; README.md explains the keys.
    boost::json::object state() const;
    // What the program did that it must not do.
    std::vector<std::string> violations() const;
    // Every sample received of one side of the last interview; empty unless Options::keepSamples.
    std::vector<std::int16_t> samples(Side side) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace sandbox
