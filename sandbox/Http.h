// HTTP/1.1 messages as the stand-in reads and writes them. Its own reading, on purpose: it shares no parser
// with the program, so that a fault there cannot hide here.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sandbox {

class WebSocketEndpoint;

using Pairs = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    std::string method;
    // As it stood in the request line.
    std::string target;
    // Without the query, not decoded.
    std::string path;
    bool hasQuery = false;
    // Decoded.
    Pairs query;
    // Names in lower case, in the order of the wire.
    Pairs headers;
    std::string body;
    // The Host header in lower case, without its port.
    std::string host;
    bool secure = false;
    // The name asked for in the TLS handshake; empty without one.
    std::string serverName;

    // `name` in lower case. Null when absent; the first of several.
    const std::string* header(std::string_view name) const;
    // Null when absent.
    const std::string* queryItem(std::string_view name) const;
};

struct HttpReply {
    int status = 200;
    Pairs headers;
    std::string body;
    std::chrono::milliseconds delay{0};
    // Instead of `body`, if there are any: sent one by one as chunks, with the pace between them.
    std::vector<std::string> pieces;
    std::chrono::milliseconds pace{0};
    // With status 101: who talks over the WebSocket from then on.
    std::shared_ptr<WebSocketEndpoint> endpoint;

    static HttpReply json(int status, std::string body);
    // Without the pieces.
    std::string serialize() const;
};

// Reads request line and headers, without the blank line behind them. Nothing when they are no HTTP/1.1.
std::optional<HttpRequest> parseHead(std::string_view head);

// Percent-decoding. Nothing for a broken escape.
std::optional<std::string> percentDecoded(std::string_view text);

// An application/x-www-form-urlencoded body whose keys and values keep only ASCII letters, digits and "-._~"
// and escape all else, each byte as "%" and two upper-case hex digits. Nothing for any other text;
// `complaint` then says why.
std::optional<Pairs> parseStrictForm(std::string_view body, std::string& complaint);

std::string lowerCased(std::string_view text);

// Whether the header is one that HTTP stacks add of their own accord: Host, Content-Length, Connection,
// User-Agent and the Accept family. `name` in lower case.
bool isTransportHeader(std::string_view name);

} // namespace sandbox
