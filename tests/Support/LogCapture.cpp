#include "LogCapture.h"

struct LogCapture::State {
    mutable std::mutex mutex;
    QStringList lines;
    QStringList standardOutput;
};

LogCapture::LogCapture()
    : m_state(std::make_shared<State>()) {
    platform::setLogHandler([state = m_state](platform::LogSink sink, const QString& line) {
        const std::lock_guard lock(state->mutex);
        state->lines.append(line);
        if (sink == platform::LogSink::standardOutput) {
            state->standardOutput.append(line);
        }
    });
}

LogCapture::~LogCapture() {
    platform::setLogHandler({});
}

QStringList LogCapture::lines() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->lines;
}

QStringList LogCapture::standardOutputLines() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->standardOutput;
}

bool LogCapture::contains(const QString& part) const {
    return count(part) > 0;
}

int LogCapture::count(const QString& part) const {
    const auto all = lines();
    return static_cast<int>(
        std::ranges::count_if(all, [&](const QString& line) { return line.contains(part); }));
}

void LogCapture::clear() {
    const std::lock_guard lock(m_state->mutex);
    m_state->lines.clear();
    m_state->standardOutput.clear();
}
