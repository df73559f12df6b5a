#include "Platform/Network/WebSocketMailbox.h"

#include "Platform/Core/Dispatch.h"

namespace platform {

namespace {

// Above either limit the connection stops reading, which slows the peer down.
constexpr std::size_t fullMessages = 1024;
constexpr qint64 fullBytes = 4 * 1024 * 1024;

} // namespace

void WebSocketMailbox::wake(std::unique_lock<std::mutex> lock) {
    const bool queued = std::exchange(m_wakeQueued, true);
    lock.unlock();
    if (queued) {
        return;
    }
    dispatchToMain([self = shared_from_this()] {
        {
            const std::lock_guard relock(self->m_mutex);
            self->m_wakeQueued = false;
        }
        // A copy, because the call may destroy the task.
        if (const auto onMail = self->m_onMail) {
            onMail();
        }
    });
}

void WebSocketMailbox::opened() {
    std::unique_lock lock(m_mutex);
    m_opened = true;
    wake(std::move(lock));
}

bool WebSocketMailbox::deliver(WebSocketMessage message) {
    std::unique_lock lock(m_mutex);
    m_bytes += message.payload.size();
    m_messages.push_back(std::move(message));
    m_full = m_messages.size() >= fullMessages || m_bytes >= fullBytes;
    const bool room = !m_full;
    wake(std::move(lock));
    return room;
}

void WebSocketMailbox::pong(quint32 id) {
    std::unique_lock lock(m_mutex);
    m_lastPong = std::max(m_lastPong, id);
    wake(std::move(lock));
}

void WebSocketMailbox::ended(WebSocketEnd end) {
    std::unique_lock lock(m_mutex);
    m_end = std::move(end);
    wake(std::move(lock));
}

bool WebSocketMailbox::isOpened() const {
    const std::lock_guard lock(m_mutex);
    return m_opened;
}

quint32 WebSocketMailbox::lastPong() const {
    const std::lock_guard lock(m_mutex);
    return m_lastPong;
}

bool WebSocketMailbox::hasMessage() const {
    const std::lock_guard lock(m_mutex);
    return !m_messages.empty();
}

std::optional<WebSocketMessage> WebSocketMailbox::takeMessage(bool& mayReadOn) {
    const std::lock_guard lock(m_mutex);
    if (m_messages.empty()) {
        return std::nullopt;
    }
    auto message = std::move(m_messages.front());
    m_messages.pop_front();
    m_bytes -= message.payload.size();
    if (m_full && m_messages.size() <= fullMessages / 2 && m_bytes <= fullBytes / 2) {
        m_full = false;
        mayReadOn = true;
    }
    return message;
}

std::optional<WebSocketEnd> WebSocketMailbox::end() const {
    const std::lock_guard lock(m_mutex);
    return m_end;
}

} // namespace platform
