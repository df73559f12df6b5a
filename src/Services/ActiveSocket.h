#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <memory>
#include <mutex>

namespace corvane {

// The connection in use, and whether audio may pass through it. Written on the main thread, read on any:
// audio frames come from the sound threads.
class ActiveSocket {
public:
    struct Snapshot {
        std::shared_ptr<platform::WebSocketTask> webSocketTask;
        // Of the last task that was started; stays after its end, so that its late callbacks are recognised.
        int activeTaskIdentifier = 0;
        // The server has confirmed the session.
        bool binarySendAllowed = false;

        bool isUsable() const { return webSocketTask && webSocketTask->identifier() == activeTaskIdentifier; }
    };

    Snapshot snapshot() const {
        const std::lock_guard lock(m_mutex);
        return m_current;
    }
    // Audio is blocked until the new connection's session is confirmed.
    void replace(std::shared_ptr<platform::WebSocketTask> task) {
        const auto identifier = task->identifier();
        const auto old = exchange({std::move(task), identifier, false});
    }
    // Gives the task that was in use, if any.
    std::shared_ptr<platform::WebSocketTask> drop() {
        return exchange({nullptr, snapshot().activeTaskIdentifier, false}).webSocketTask;
    }
    void allowBinarySend(bool allowed) {
        const std::lock_guard lock(m_mutex);
        m_current.binarySendAllowed = allowed;
    }

private:
    Snapshot exchange(Snapshot next) {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_current, std::move(next));
    }

    mutable std::mutex m_mutex;
    Snapshot m_current;
};

} // namespace corvane
