#include "HttpErrors.h"

#include "NetworkText.h"

#include <algorithm>
#include <array>

namespace platform {

namespace {

using Error = QNetworkReply::NetworkError;
using Kind = HttpError::Kind;

struct Row {
    Error error;
    Kind kind;
};

constexpr std::array kinds{
    Row{QNetworkReply::ConnectionRefusedError, Kind::cannotConnect},
    Row{QNetworkReply::RemoteHostClosedError, Kind::connectionLost},
    // The connection ended, and Qt would have sent the request again.
    Row{QNetworkReply::ContentReSendError, Kind::connectionLost},
    Row{QNetworkReply::HostNotFoundError, Kind::hostNotFound},
    Row{QNetworkReply::TimeoutError, Kind::timedOut},
    Row{QNetworkReply::SslHandshakeFailedError, Kind::tlsFailed},
    Row{QNetworkReply::TemporaryNetworkFailureError, Kind::connectionLost},
    Row{QNetworkReply::NetworkSessionFailedError, Kind::connectionLost},
    Row{QNetworkReply::UnknownNetworkError, Kind::cannotConnect},
    Row{QNetworkReply::ProxyConnectionRefusedError, Kind::proxyFailed},
    Row{QNetworkReply::ProxyConnectionClosedError, Kind::proxyFailed},
    Row{QNetworkReply::ProxyNotFoundError, Kind::proxyFailed},
    Row{QNetworkReply::ProxyTimeoutError, Kind::proxyFailed},
    Row{QNetworkReply::ProxyAuthenticationRequiredError, Kind::proxyFailed},
    Row{QNetworkReply::UnknownProxyError, Kind::proxyFailed},
    Row{QNetworkReply::ProtocolFailure, Kind::notHttp},
    Row{QNetworkReply::ProtocolUnknownError, Kind::notHttp},
    Row{QNetworkReply::ProtocolInvalidOperationError, Kind::notHttp},
};

Kind kindOf(Error error) {
    const auto row = std::ranges::find(kinds, error, &Row::error);
    return row == kinds.end() ? Kind::other : row->kind;
}

// Qt talks to a proxy of plain HTTP as to the server itself, and reports it so.
Kind kindWithProxy(Kind kind, const QNetworkProxy& proxy) {
    const bool noConnection = kind == Kind::cannotConnect || kind == Kind::hostNotFound;
    return noConnection && proxy.type() != QNetworkProxy::NoProxy ? Kind::proxyFailed : kind;
}

QString textOf(Kind kind, const QString& host, const QString& reason, const QList<QSslError>& sslErrors,
               const QNetworkProxy& proxy) {
    switch (kind) {
    case Kind::timedOut:
        return networkText::timedOut(host);
    case Kind::hostNotFound:
        return networkText::hostNotFound(host);
    case Kind::connectionLost:
        return networkText::connectionLost(host);
    case Kind::tlsFailed:
        return sslErrors.isEmpty() ? networkText::tlsFailed(host, reason)
                                   : networkText::certificateRefused(host, sslErrors.first().errorString());
    case Kind::proxyFailed:
        return networkText::proxyFailed(proxy.hostName(), reason);
    case Kind::notHttp:
        return networkText::notHttp(host);
    case Kind::cannotConnect:
    case Kind::tooLarge:
    case Kind::other:
        break;
    }
    return networkText::cannotConnect(host, reason);
}

} // namespace

bool isAnswer(const QNetworkReply& reply) {
    const auto error = reply.error();
    // Qt files 400 and 418 under the protocol's errors, the others under the content's and the server's.
    const bool ofTheServer = (error > 200 && error < 300) || (error > 400 && error < 500) ||
                             error == QNetworkReply::ProtocolInvalidOperationError;
    return error == QNetworkReply::NoError ||
           (ofTheServer && reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());
}

HttpError classify(const QNetworkReply& reply, const QList<QSslError>& sslErrors,
                   const QNetworkProxy& proxy) {
    const auto kind =
        sslErrors.isEmpty() ? kindWithProxy(kindOf(reply.error()), proxy) : HttpError::Kind::tlsFailed;
    return HttpError(kind, textOf(kind, reply.url().host(), reply.errorString(), sslErrors, proxy));
}

} // namespace platform
