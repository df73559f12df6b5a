#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

namespace platform {

struct HttpHeader {
    QByteArray name;
    QByteArray value;
};

struct HttpResponse;

// A request leaves with exactly these headers besides those of the transport (Host, Content-Length,
// Connection, User-Agent, Accept-*): no Content-Type, Cookie or Authorization of the library's own. `url` is
// already encoded.
struct HttpRequest {
    QByteArray method;
    QUrl url;
    QList<HttpHeader> headers;
    // Absent: a request without a body, which a POST states as Content-Length 0.
    std::optional<QByteArray> body;
    std::chrono::milliseconds timeout{60'000};
    // A longer response body fails with HttpError::tooLarge.
    qint64 maxBodyBytes = 8 * 1024 * 1024;
    // Of a stream: asked once, with the status and the headers, before any of the body. False: the exchange
    // ends there. It must not end the client.
    std::function<bool(const HttpResponse& head)> wantsBody = {};
};

struct HttpResponse {
    int status = 0;
    QUrl url;
    // In the order of the wire; a repeated header (Set-Cookie) stands once for each occurrence.
    QList<HttpHeader> headers;
    QByteArray body;

    // The first header of that name, case-insensitive; nothing when absent.
    std::optional<QByteArray> header(const QByteArray& name) const;
};

class HttpError : public std::runtime_error {
public:
    enum class Kind {
        timedOut,
        hostNotFound,
        cannotConnect,
        connectionLost,
        tlsFailed,
        proxyFailed,
        notHttp,
        tooLarge,
        other
    };

    HttpError(Kind kind, const QString& text)
        : std::runtime_error(text.toStdString())
        , m_kind(kind) {}
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

// One HTTP session. Redirects are not followed: a 3xx answer is an answer, so a bearer token never reaches
// another host. Proxy and host name are looked up anew for each request. Certificates are verified against
// the system's store, or against the file that the environment variable SSL_CERT_FILE names, as OpenSSL
// programs do.
class HttpClient {
public:
    virtual ~HttpClient() = default;

    // Main thread. Throws HttpError when no complete HTTP answer came; any status is an answer. A header with
    // a line break is not sent.
    virtual QCoro::Task<HttpResponse> execute(HttpRequest request) = 0;

    // Gets a piece of a body. False: enough, end the exchange.
    using BodySink = std::function<bool(const QByteArray& piece)>;
    // The same, but `sink` gets the body as it arrives, from the event loop: the first piece at once, then
    // one every 10 ms at most, and the answer's body is empty. `timeout` is the longest silence, maxBodyBytes
    // does not count. Before a failure the sink gets what came until then. Nothing reaches it after the
    // task's end or the client's.
    virtual QCoro::Task<HttpResponse> stream(HttpRequest request, BodySink sink) = 0;
};

enum class HttpSessionKind {
    // Nothing on disk, no cookies kept or sent, no cache.
    ephemeral,
    // Cookies are kept in memory and sent back.
    shared,
};

std::unique_ptr<HttpClient> makeHttpClient(HttpSessionKind kind);

} // namespace platform
