#include "sandbox/Http.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace sandbox {

namespace {

const std::string* find(const Pairs& pairs, std::string_view name) {
    const auto found =
        std::find_if(pairs.begin(), pairs.end(), [&](const auto& p) { return p.first == name; });
    return found == pairs.end() ? nullptr : &found->second;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
        text.remove_suffix(1);
    }
    return text;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const auto lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool isUnreserved(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

std::string_view reasonFor(int status) {
    static constexpr std::array<std::pair<int, std::string_view>, 17> reasons{{{101, "Switching Protocols"},
                                                                               {200, "OK"},
                                                                               {201, "Created"},
                                                                               {400, "Bad Request"},
                                                                               {401, "Unauthorized"},
                                                                               {403, "Forbidden"},
                                                                               {404, "Not Found"},
                                                                               {405, "Method Not Allowed"},
                                                                               {409, "Conflict"},
                                                                               {411, "Length Required"},
                                                                               {413, "Payload Too Large"},
                                                                               {421, "Misdirected Request"},
                                                                               {422, "Unprocessable Entity"},
                                                                               {426, "Upgrade Required"},
                                                                               {500, "Internal Server Error"},
                                                                               {502, "Bad Gateway"},
                                                                               {503, "Service Unavailable"}}};
    const auto* found =
        std::find_if(reasons.begin(), reasons.end(), [&](const auto& r) { return r.first == status; });
    return found == reasons.end() ? "Answer" : found->second;
}

bool parseQuery(HttpRequest& request) {
    const auto mark = request.target.find('?');
    request.path = request.target.substr(0, mark);
    request.hasQuery = mark != std::string::npos;
    if (!request.hasQuery) {
        return true;
    }
    std::string_view rest = std::string_view(request.target).substr(mark + 1);
    while (!rest.empty()) {
        const auto piece = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), piece.size() + 1));
        const auto equals = std::min(piece.find('='), piece.size());
        auto key = percentDecoded(piece.substr(0, equals));
        auto value = percentDecoded(piece.substr(std::min(piece.size(), equals + 1)));
        if (!key || !value) {
            return false;
        }
        request.query.emplace_back(std::move(*key), std::move(*value));
    }
    return true;
}

bool parseHeader(HttpRequest& request, std::string_view line) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0 || line.front() == ' ' || line.front() == '\t') {
        return false;
    }
    request.headers.emplace_back(lowerCased(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
    return true;
}

// Decodes the key or the value of a strict form. Returns nullopt if a character is not escaped as it must be.
std::optional<std::string> strictDecoded(std::string_view text, std::string& complaint) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            if (!isUnreserved(text[i])) {
                complaint.assign("form: '").append(1, text[i]).append("' is not escaped");
                return std::nullopt;
            }
            result += text[i];
            continue;
        }
        const auto escape = text.substr(i, 3);
        if (escape.size() < 3 || hexValue(escape[1]) < 0 || hexValue(escape[2]) < 0 ||
            std::islower(escape[1]) || std::islower(escape[2])) {
            complaint = "form: an escape is not two upper-case hex digits";
            return std::nullopt;
        }
        result += static_cast<char>(hexValue(escape[1]) * 16 + hexValue(escape[2]));
        if (isUnreserved(result.back())) {
            complaint = "form: a character is escaped that may stand plain";
            return std::nullopt;
        }
        i += 2;
    }
    return result;
}

} // namespace

const std::string* HttpRequest::header(std::string_view name) const {
    return find(headers, name);
}
const std::string* HttpRequest::queryItem(std::string_view name) const {
    return find(query, name);
}

HttpReply HttpReply::json(int status, std::string body) {
    HttpReply reply;
    reply.status = status;
    reply.headers = {{"Content-Type", "application/json"}};
    reply.body = std::move(body);
    return reply;
}

std::string HttpReply::serialize() const {
    std::string text = "HTTP/1.1 ";
    text.append(std::to_string(status)).append(" ").append(reasonFor(status)).append("\r\n");
    for (const auto& [name, value] : headers) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    if (!pieces.empty()) {
        text.append("Transfer-Encoding: chunked\r\n");
    } else if (status != 101) {
        text.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n");
    }
    return text.append("\r\n").append(body);
}

std::optional<HttpRequest> parseHead(std::string_view head) {
    const auto lineEnd = std::min(head.find("\r\n"), head.size());
    const auto line = head.substr(0, lineEnd);
    const auto first = line.find(' ');
    const auto last = line.rfind(' ');
    if (first == std::string_view::npos || last <= first + 1) {
        return std::nullopt;
    }
    // Some clients use the older version to ask a proxy for a tunnel.
    const auto version = line.substr(last + 1);
    if (version != "HTTP/1.1" && (version != "HTTP/1.0" || line.substr(0, first) != "CONNECT")) {
        return std::nullopt;
    }
    HttpRequest request;
    request.method = line.substr(0, first);
    request.target = line.substr(first + 1, last - first - 1);
    if (!parseQuery(request)) {
        return std::nullopt;
    }
    auto rest = head.substr(std::min(head.size(), lineEnd + 2));
    while (!rest.empty()) {
        const auto end = std::min(rest.find("\r\n"), rest.size());
        if (!parseHeader(request, rest.substr(0, end))) {
            return std::nullopt;
        }
        rest.remove_prefix(std::min(rest.size(), end + 2));
    }
    if (const auto* host = request.header("host")) {
        request.host = lowerCased(host->substr(0, host->rfind(':')));
    }
    return request;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        if (i + 2 >= text.size() || hexValue(text[i + 1]) < 0 || hexValue(text[i + 2]) < 0) {
            return std::nullopt;
        }
        result += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
        i += 2;
    }
    return result;
}

std::optional<Pairs> parseStrictForm(std::string_view body, std::string& complaint) {
    Pairs pairs;
    while (!body.empty()) {
        const auto piece = body.substr(0, body.find('&'));
        const bool another = piece.size() < body.size();
        body.remove_prefix(piece.size() + (another ? 1 : 0));
        const auto equals = piece.find('=');
        if (equals == std::string_view::npos || (another && body.empty())) {
            complaint = "form: a pair has no '='";
            return std::nullopt;
        }
        auto key = strictDecoded(piece.substr(0, equals), complaint);
        auto value = strictDecoded(piece.substr(equals + 1), complaint);
        if (!key || !value) {
            return std::nullopt;
        }
        pairs.emplace_back(std::move(*key), std::move(*value));
    }
    return pairs;
}

bool isTransportHeader(std::string_view name) {
    constexpr std::array<std::string_view, 7> names{
        "host", "content-length", "connection", "user-agent", "accept", "accept-encoding", "accept-language"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string lowerCased(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

} // namespace sandbox
