#pragma once

#include "Platform/Network/ConnectPlan.h"
#include "Platform/Network/HttpClient.h"

#include <functional>
#include <memory>
#include <optional>

namespace platform {

class NetworkThread;
class WebSocketError;

// One request and its response, on a connection of their own. Interim responses (RFC 9110, 15.2) are skipped.
// Operations and reports are on the main thread, the connection itself is on the network thread.
class HttpConversation {
public:
    struct Request {
        ConnectPlan plan;
        QByteArray bytes;    // head and body, as they are sent
        bool isHead = false; // the response has no body, whatever its head says
        std::optional<qint64> maxBodyBytes;
    };
    struct Listener {
        // The response without its body, which is read from the first readOn() on.
        std::function<void(HttpResponse)> head;
        std::function<void(QByteArray)> piece;
        std::function<void()> end;
        // Instead of everything that has not arrived yet.
        std::function<void(HttpError)> failed;
    };

    static std::shared_ptr<HttpConversation> start(NetworkThread& thread, Request request, Listener listener);
    virtual ~HttpConversation() = default;

    // Starts to read the body, and says how much of what was reported has been handled since the last call.
    virtual void readOn(qsizetype handledBytes) = 0;
    // Ends the connection. Nothing is reported afterwards.
    virtual void cancel() = 0;

    // Returns the error for what the code that makes connections reports.
    static HttpError errorOf(const WebSocketError& error);
};

} // namespace platform
