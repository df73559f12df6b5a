// HTTP/1.1 messages as the stand-in reads and writes them. It deliberately shares no parser with the program,
// so that a fault in the program's parser is noticed here.
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
    // As in the request line.
    std::string target;
    // Without the query, not decoded.
    std::string path;
    bool hasQuery = false;
    // Decoded.
    Pairs query;
    // Names in lower case, in the order received.
    Pairs headers;
    std::string body;
    // The Host header in lower case, without its port.
    std::string host;
    bool secure = false;
    // The server name requested in the TLS handshake; empty without one.
    std::string serverName;

    // Returns the first header with that name, given in lower case, or null.
    const std::string* header(std::string_view name) const;
    // Returns null if there is no such item.
    const std::string* queryItem(std::string_view name) const;
};

struct HttpReply {
    int status = 200;
    Pairs headers;
    std::string body;
    std::chrono::milliseconds delay{0};
    // Replaces `body` if not empty: sent one by one as chunks, with the pace between them.
    std::vector<std::string> pieces;
    std::chrono::milliseconds pace{0};
    // Receives the WebSocket after status 101.
    std::shared_ptr<WebSocketEndpoint> endpoint;

    static HttpReply json(int status, std::string body);
    // Returns the message without the pieces.
    std::string serialize() const;
};

// Parses the request line and the headers, without the blank line after them. Returns nullopt if they are not
// valid HTTP/1.1.
std::optional<HttpRequest> parseHead(std::string_view head);

// Decodes percent escapes. Returns nullopt for a broken escape.
std::optional<std::string> percentDecoded(std::string_view text);

// Parses an application/x-www-form-urlencoded body whose keys and values contain only ASCII letters, digits
// and "-._~", and escape every other byte as "%" and two upper-case hex digits. Returns nullopt for any other
// text; `complaint` then says why.
std::optional<Pairs> parseStrictForm(std::string_view body, std::string& complaint);

std::string lowerCased(std::string_view text);

// Returns whether HTTP stacks add the header on their own: Host, Content-Length, Connection, User-Agent and
// the Accept family. `name` is in lower case.
bool isTransportHeader(std::string_view name);

} // namespace sandbox
