#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace platform {

struct WebSocketEnd {
    std::optional<WebSocketError> error;
    // nullopt if the connection was never open.
    std::optional<int> closeCode;
    int httpStatus = 0;
};

// Passes a connection's events to its task, in order, from the network thread to the main thread. The lock is
// held only to move values.
class WebSocketMailbox : public std::enable_shared_from_this<WebSocketMailbox> {
public:
    // `onMail` runs on the main thread, soon after something has arrived.
    explicit WebSocketMailbox(std::function<void()> onMail)
        : m_onMail(std::move(onMail)) {}

    // Network thread.
    void opened();
    // Returns false if the mailbox is full: do not read on until resumeReading().
    bool deliver(WebSocketMessage message);
    void pong(quint32 id);
    void ended(WebSocketEnd end);

    // Main thread.
    void close() { m_onMail = nullptr; }
    bool isOpened() const;
    quint32 lastPong() const;
    bool hasMessage() const;
    // Sets `mayReadOn` if the connection is waiting for room and there is some now.
    std::optional<WebSocketMessage> takeMessage(bool& mayReadOn);
    // Returns nullopt while the connection has not ended.
    std::optional<WebSocketEnd> end() const;

private:
    void wake(std::unique_lock<std::mutex> lock);

    std::function<void()> m_onMail; // main thread
    mutable std::mutex m_mutex;
    std::deque<WebSocketMessage> m_messages;
    qint64 m_bytes = 0;
    quint32 m_lastPong = 0;
    bool m_opened = false;
    bool m_full = false;
    bool m_wakeQueued = false;
    std::optional<WebSocketEnd> m_end;
};

} // namespace platform
