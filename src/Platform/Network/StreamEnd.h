#pragma once

#include "Platform/Network/Transport.h"
#include "Platform/Network/WebSocketMailbox.h"

#include <boost/beast/websocket/rfc6455.hpp>

namespace platform {

// Returns what the end of a WebSocket stream means that Beast reports. `reason` is that of the peer's close
// frame.
WebSocketEnd streamEnd(error_code error, const QString& host, qint64 maxMessageBytes,
                       const boost::beast::websocket::close_reason& reason);

// Returns why the upgrade failed. `answer` is as complete as Beast has read it.
WebSocketError upgradeFailure(error_code error, const QString& host, const Transport& transport,
                              const boost::beast::websocket::response_type& answer);

} // namespace platform
