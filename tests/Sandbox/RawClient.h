// A client of the stand-in that knows nothing of the program: Boost.Beast, with every header in the test's
// hand.
#pragma once

#include <boost/json/object.hpp>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using Headers = std::vector<std::pair<std::string, std::string>>;

// How to reach a server.
struct Route {
    // What the requests ask for, with ":port" where it is not 443.
    std::string host;
    unsigned short port = 0;
    // Empty: without TLS.
    std::string certificateFile;
    // 0: without a proxy.
    unsigned short proxyPort = 0;

    // "http://127.0.0.1:<port>" or "https://localhost:<port>".
    static Route direct(const std::string& url, const std::string& certificateFile = {});
    static Route byProxy(const std::string& proxy, const std::string& host,
                         const std::string& certificateFile);
};

struct RawAnswer {
    int status = 0;
    Headers headers;
    std::string body;

    boost::json::object json() const;
    std::vector<std::string> all(std::string_view header) const;
};

// One request on a connection of its own. Throws std::runtime_error when no answer comes, a status in its
// text when the proxy refuses.
RawAnswer request(const Route& route, const std::string& method, const std::string& target,
                  const Headers& headers, const std::string& body);

struct UpgradeRefused {
    int status = 0;
};

class RawLink {
public:
    // Throws UpgradeRefused, or std::runtime_error.
    RawLink(const Route& route, const std::string& target);
    ~RawLink();

    void sendText(const std::string& text);
    void send(boost::json::object command);
    void sendBinary(const std::string& bytes);
    void sendPing();
    void close(int code);

    struct Message {
        bool isText = true;
        std::string payload;
    };
    // Nothing when none came in time. Throws std::runtime_error at the end of the connection, and for a
    // message of more than 8 MiB, which ends it.
    std::optional<Message> receive(std::chrono::milliseconds limit = std::chrono::seconds(5));
    // The next message of that type; those before it go to `passed`. Throws std::runtime_error if none comes.
    boost::json::object await(std::string_view type, std::vector<boost::json::object>* passed = nullptr);
    // The code of the server's close frame, 1006 when the connection broke. Throws when neither happens.
    int awaitEnd();
    // Whether a pong arrived so far. Pongs are seen while receive() waits.
    int pongs() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};
