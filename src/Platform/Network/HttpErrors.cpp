#include "Platform/Network/HttpErrors.h"

#include "Platform/Network/NetworkText.h"

#include <algorithm>
#include <array>

namespace platform {

namespace {

using Error = QNetworkReply::NetworkError;

struct Row {
    Error error;
    HttpError::Kind kind;
};

constexpr std::array kinds{
    Row{QNetworkReply::ConnectionRefusedError, HttpError::Kind::cannotConnect},
    Row{QNetworkReply::RemoteHostClosedError, HttpError::Kind::connectionLost},
    // The connection ended, and Qt would have sent the request again.
    Row{QNetworkReply::ContentReSendError, HttpError::Kind::connectionLost},
    Row{QNetworkReply::HostNotFoundError, HttpError::Kind::hostNotFound},
    Row{QNetworkReply::TimeoutError, HttpError::Kind::timedOut},
    Row{QNetworkReply::SslHandshakeFailedError, HttpError::Kind::tlsFailed},
    Row{QNetworkReply::TemporaryNetworkFailureError, HttpError::Kind::connectionLost},
    Row{QNetworkReply::NetworkSessionFailedError, HttpError::Kind::connectionLost},
    Row{QNetworkReply::UnknownNetworkError, HttpError::Kind::cannotConnect},
    Row{QNetworkReply::ProxyConnectionRefusedError, HttpError::Kind::proxyFailed},
    Row{QNetworkReply::ProxyConnectionClosedError, HttpError::Kind::proxyFailed},
    Row{QNetworkReply::ProxyNotFoundError, HttpError::Kind::proxyFailed},
    Row{QNetworkReply::ProxyTimeoutError, HttpError::Kind::proxyFailed},
    Row{QNetworkReply::ProxyAuthenticationRequiredError, HttpError::Kind::proxyFailed},
    Row{QNetworkReply::UnknownProxyError, HttpError::Kind::proxyFailed},
    Row{QNetworkReply::ProtocolFailure, HttpError::Kind::notHttp},
    Row{QNetworkReply::ProtocolUnknownError, HttpError::Kind::notHttp},
    Row{QNetworkReply::ProtocolInvalidOperationError, HttpError::Kind::notHttp},
};

HttpError::Kind errorKind(Error error) {
    const auto row = std::ranges::find(kinds, error, &Row::error);
    return row == kinds.end() ? HttpError::Kind::other : row->kind;
}

// Qt treats a proxy for plain HTTP like the server itself and reports its failures as such.
HttpError::Kind kindWithProxy(HttpError::Kind kind, const QNetworkProxy& proxy) {
    const bool noConnection = kind == HttpError::Kind::cannotConnect || kind == HttpError::Kind::hostNotFound;
    return noConnection && proxy.type() != QNetworkProxy::NoProxy ? HttpError::Kind::proxyFailed : kind;
}

QString errorSentence(HttpError::Kind kind, const QString& host, const QString& reason,
                      const QList<QSslError>& sslErrors, const QNetworkProxy& proxy) {
    switch (kind) {
    case HttpError::Kind::timedOut:
        return networkText::timedOut(host);
    case HttpError::Kind::hostNotFound:
        return networkText::hostNotFound(host);
    case HttpError::Kind::connectionLost:
        return networkText::connectionLost(host);
    case HttpError::Kind::tlsFailed:
        return sslErrors.isEmpty() ? networkText::tlsFailed(host, reason)
                                   : networkText::certificateRefused(host, sslErrors.first().errorString());
    case HttpError::Kind::proxyFailed:
        // A proxy that the system does not name takes the place of the server.
        return networkText::proxyFailed(proxy.hostName().isEmpty() ? host : proxy.hostName(), reason);
    case HttpError::Kind::notHttp:
        return networkText::notHttp(host);
    case HttpError::Kind::cannotConnect:
    case HttpError::Kind::tooLarge:
    case HttpError::Kind::other:
        break;
    }
    return networkText::cannotConnect(host, reason);
}

} // namespace

bool isServerResponse(const QNetworkReply& reply) {
    const auto error = reply.error();
    // Qt reports 400 and 418 as protocol errors, and other statuses as content or server errors.
    const bool ofTheServer = (error > 200 && error < 300) || (error > 400 && error < 500) ||
                             error == QNetworkReply::ProtocolInvalidOperationError;
    return error == QNetworkReply::NoError ||
           (ofTheServer && reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());
}

HttpError classify(const QNetworkReply& reply, const QList<QSslError>& sslErrors,
                   const QNetworkProxy& proxy) {
    const auto kind =
        sslErrors.isEmpty() ? kindWithProxy(errorKind(reply.error()), proxy) : HttpError::Kind::tlsFailed;
    return HttpError(kind, errorSentence(kind, reply.url().host(), reply.errorString(), sslErrors, proxy));
}

} // namespace platform
