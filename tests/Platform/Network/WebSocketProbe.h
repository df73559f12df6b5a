#pragma once

#include "Platform/Network/WebSocketTask.h"
#include "tests/Support/WaitFor.h"

#include <QStringList>

// A task under test and all that it said, in order.
class WebSocketProbe : public QObject {
public:
    using Task = platform::WebSocketTask;

    explicit WebSocketProbe(const QUrl& url, qint64 maxMessageBytes = 1024 * 1024)
        : m_task(m_factory->makeTask(url, maxMessageBytes)) {
        connect(m_task.get(), &Task::opened, this, [this] { said.append("opened"); });
        connect(m_task.get(), &Task::closed, this,
                [this](int code) { said.append(QStringLiteral("closed %1").arg(code)); });
        connect(m_task.get(), &Task::completed, this, [this](std::optional<platform::WebSocketError> end) {
            said.append("completed");
            error = std::move(end);
        });
    }

    Task* operator->() { return m_task.get(); }
    Task& operator*() { return *m_task; }
    void destroy() { m_task.reset(); }
    bool isOver() const { return said.contains("completed"); }
    // Connects. Whether anything comes of it.
    bool starts() {
        m_task->resume();
        return waitUntil([this] { return !said.isEmpty(); });
    }

    // Receives until the end.
    void receiveAll() {
        m_task->receive(
            [this](std::optional<platform::WebSocketMessage> message, std::exception_ptr failure) {
                if (failure) {
                    said.append("receive failed");
                    return;
                }
                messages.append(*message);
                receiveAll();
            });
    }

    QStringList said;
    QList<platform::WebSocketMessage> messages;
    std::optional<platform::WebSocketError> error;

private:
    std::unique_ptr<platform::WebSocketFactory> m_factory = platform::makeWebSocketFactory();
    std::unique_ptr<Task> m_task;
};

inline std::optional<platform::WebSocketError::Kind> kindOf(const std::exception_ptr& failure) {
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
    } catch (const platform::WebSocketError& error) {
        return error.kind();
    } catch (...) {
    }
    return std::nullopt;
}
