#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <memory>
#include <mutex>

namespace corvane {

// The WebSocket in use and whether audio may be sent over it. It is written on the main thread and read on
// any, since audio frames come from the sound threads.
class ActiveSocket {
public:
    struct Snapshot {
        std::shared_ptr<platform::WebSocketTask> webSocketTask;
        // The identifier of the last task that was started. It stays after the end of the task, so that late
        // callbacks are recognised.
        int activeTaskIdentifier = 0;
        // True once the server has confirmed the session.
        bool binarySendAllowed = false;

        bool isUsable() const { return webSocketTask && webSocketTask->identifier() == activeTaskIdentifier; }
    };

    Snapshot snapshot() const {
        const std::lock_guard lock(m_mutex);
        return m_current;
    }
    // Returns whether this is the identifier of the latest task.
    bool isActive(int identifier) const { return snapshot().activeTaskIdentifier == identifier; }
    // Returns whether that task is also still in use.
    bool isInUse(int identifier) const {
        const auto current = snapshot();
        return current.webSocketTask && current.activeTaskIdentifier == identifier;
    }
    // Blocks audio until the session of the new connection is confirmed.
    void replace(std::shared_ptr<platform::WebSocketTask> task) {
        const auto identifier = task->identifier();
        const auto old = exchange({std::move(task), identifier, false});
    }
    // Returns the task that was in use, or null.
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
