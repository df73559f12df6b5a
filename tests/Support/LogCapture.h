#pragma once

#include "Platform/Core/Log.h"

#include <QStringList>

#include <memory>
#include <mutex>

// Collects the log lines of both sinks while it lives. Thread-safe.
class LogCapture {
public:
    LogCapture() {
        platform::setLogHandler([state = m_state](platform::LogSink sink, const QString& line) {
            const std::lock_guard lock(state->mutex);
            state->lines.append(line);
            if (sink == platform::LogSink::standardOutput) {
                state->standardOutput.append(line);
            }
        });
    }
    ~LogCapture() { platform::setLogHandler({}); }

    QStringList lines() const {
        const std::lock_guard lock(m_state->mutex);
        return m_state->lines;
    }
    QStringList standardOutputLines() const {
        const std::lock_guard lock(m_state->mutex);
        return m_state->standardOutput;
    }
    bool contains(const QString& part) const { return count(part) > 0; }
    // How many lines contain the text.
    int count(const QString& part) const { return static_cast<int>(lines().filter(part).size()); }
    void clear() {
        const std::lock_guard lock(m_state->mutex);
        m_state->lines.clear();
        m_state->standardOutput.clear();
    }

private:
    struct State {
        std::mutex mutex;
        QStringList lines;
        QStringList standardOutput;
    };
    std::shared_ptr<State> m_state = std::make_shared<State>();
};
