#include "Platform/Network/HttpClient.h"

#include "Platform/Network/HttpExchange.h"
#include "Platform/Network/NetworkThread.h"

#include <QNetworkCookieJar>

namespace platform {

namespace {

// A line break in a value would start another header.
bool holdsLineBreak(const HttpHeader& header) {
    return header.value.contains('\n') || header.value.contains('\r');
}

class SessionClient : public HttpClient {
public:
    explicit SessionClient(HttpSessionKind kind) {
        if (kind == HttpSessionKind::shared) {
            m_cookies = new QNetworkCookieJar(&m_exchanges);
        }
    }

    QCoro::Task<HttpResponse> execute(HttpRequest request) override {
        return exchange(std::move(request), {});
    }

    QCoro::Task<HttpResponse> stream(HttpRequest request, BodySink sink) override {
        return exchange(std::move(request), std::move(sink));
    }

private:
    QCoro::Task<HttpResponse> exchange(HttpRequest request, BodySink sink) {
        if (std::ranges::any_of(request.headers, holdsLineBreak)) {
            throw HttpError(
                HttpError::Kind::other,
                QStringLiteral("The request was not sent: one of its headers contains a line break."));
        }
        auto* exchange =
            new HttpExchange(*m_thread, std::move(request), std::move(sink), m_cookies, &m_exchanges);
        auto completion = exchange->completion();
        auto response = co_await std::move(completion);
        co_return response;
    }

    const std::shared_ptr<NetworkThread> m_thread = NetworkThread::shared();
    // Owns the requests under way and the cookie jar.
    QObject m_exchanges;
    QNetworkCookieJar* m_cookies = nullptr;
};

} // namespace

std::unique_ptr<HttpClient> makeHttpClient(HttpSessionKind kind) {
    return std::make_unique<SessionClient>(kind);
}

} // namespace platform
