#pragma once

#include "Services/WebSocketService.h"

namespace corvane {

// Turns the server's messages into the service's signals. Main thread.
class MessageDispatch {
public:
    struct Handlers {
        std::function<void()> sessionConfirmed; // called before the signal is emitted
        std::function<void()> sessionLost;
    };

    MessageDispatch(WebSocketService& service, Handlers handlers);

    void dispatch(const WSServerMessage& message);

private:
    // Both emit nothing when the key is missing or has another type.
    void emitText(const boost::json::object& content, std::string_view key,
                  void (WebSocketService::*signal)(const QString&));
    void emitObject(const boost::json::object& content, std::string_view key,
                    void (WebSocketService::*signal)(const boost::json::object&));
    void handleSessionResumed(const boost::json::object& content);
    void handleSessionFresh();
    void handleServerError(const boost::json::object& content);

    WebSocketService& q;
    Handlers m_handlers;
};

} // namespace corvane
