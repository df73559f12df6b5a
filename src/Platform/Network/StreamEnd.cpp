#include "Platform/Network/StreamEnd.h"

#include "Platform/Network/NetworkText.h"

#include <boost/beast/http/field.hpp>
#include <boost/beast/websocket/error.hpp>

namespace platform {

namespace {

namespace websocket = boost::beast::websocket;
using EndKind = WebSocketError::Kind;

// RFC 6455, 7.1.5: of an end without a close frame, and of a frame without a code.
constexpr int abnormalClosure = 1006;
constexpr int noStatusReceived = 1005;

WebSocketError errorOf(error_code error, const QString& host, qint64 maxMessageBytes) {
    if (error == websocket::error::message_too_big) {
        return WebSocketError(EndKind::tooLarge, networkText::tooLarge(host, maxMessageBytes));
    }
    if (error.category() == make_error_code(websocket::error::bad_opcode).category()) {
        return WebSocketError(EndKind::protocol,
                              networkText::protocolBroken(host, QString::fromStdString(error.message())));
    }
    return WebSocketError(EndKind::connectionLost, networkText::connectionLost(host));
}

} // namespace

WebSocketEnd streamEnd(error_code error, const QString& host, qint64 maxMessageBytes,
                       const websocket::close_reason& reason) {
    if (error == websocket::error::closed) {
        const bool hasCode = reason.code != websocket::close_code::none;
        return {{}, hasCode ? static_cast<int>(reason.code) : noStatusReceived, 101};
    }
    return {errorOf(error, host, maxMessageBytes), abnormalClosure};
}

WebSocketError upgradeFailure(error_code error, const QString& host, const Transport& transport,
                              const websocket::response_type& answer) {
    const int status = transport.answeredStatus();
    if (status == 0 || status == 101) {
        return transport.gotAnything() ? WebSocketError(EndKind::protocol, networkText::notWebSocket(host))
                                       : errorOf(error, host, 0);
    }
    const auto type = answer[boost::beast::http::field::content_type];
    const bool webPage = type.find("html") != type.npos;
    return WebSocketError(EndKind::upgradeRefused, networkText::upgradeRefused(status, webPage));
}

} // namespace platform
