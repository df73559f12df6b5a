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

// A request is sent with exactly these headers besides those of the transport (Host, Content-Length,
// Connection, User-Agent, Accept-*): the library adds no Content-Type, Cookie or Authorization. `url` is
// already encoded.
struct HttpRequest {
    QByteArray method;
    QUrl url;
    QList<HttpHeader> headers;
    // nullopt sends no body; a POST then states a Content-Length of 0.
    std::optional<QByteArray> body;
    std::chrono::milliseconds timeout{60'000};
    // A longer response body fails with HttpError::tooLarge.
    qint64 maxBodyBytes = 8 * 1024 * 1024;
    // For streams: called once, with the status and the headers, before any of the body. Returning false ends
    // the exchange. It must not destroy the client.
    std::function<bool(const HttpResponse& head)> wantsBody = {};
};

struct HttpResponse {
    int status = 0;
    QUrl url;
    // In the order received; a repeated header (Set-Cookie) appears once for each occurrence.
    QList<HttpHeader> headers;
    QByteArray body;

    // Returns the first header with that name, case-insensitive, or nullopt.
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

// One HTTP session. Redirects are not followed: a 3xx response is returned, so a bearer token never reaches
// another host. The proxy and the host name are looked up again for each request. Certificates are verified
// against the system's store, or against the file that the environment variable SSL_CERT_FILE names, as
// OpenSSL programs do.
class HttpClient {
public:
    virtual ~HttpClient() = default;

    // Sends a request and returns the response, whatever its status. Throws HttpError if no complete HTTP
    // response arrived. A request with a line break in a header is not sent. Main thread.
    virtual QCoro::Task<HttpResponse> execute(HttpRequest request) = 0;

    // Receives a piece of a body. Returning false ends the exchange.
    using BodySink = std::function<bool(const QByteArray& piece)>;
    // The same, but `sink` receives the body as it arrives, from the event loop: the first piece at once,
    // then one every 10 ms at most. The returned response has no body. `timeout` limits the silence between
    // two pieces, and maxBodyBytes is ignored. If the exchange fails, the sink first gets what had arrived.
    // Nothing reaches it after the task or the client has ended.
    virtual QCoro::Task<HttpResponse> stream(HttpRequest request, BodySink sink) = 0;
};

enum class HttpSessionKind {
    // Stores nothing on disk, keeps and sends no cookies, and has no cache.
    ephemeral,
    // Cookies are kept in memory and sent back.
    shared,
};

std::unique_ptr<HttpClient> makeHttpClient(HttpSessionKind kind);

} // namespace platform
