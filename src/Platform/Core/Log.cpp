#include "Platform/Core/Log.h"

#include <QDateTime>

#include <cstdio>
#include <mutex>

namespace platform {

namespace {

struct LogState {
    std::mutex mutex;
    LogHandler handler;
};

LogState& state() {
    static LogState instance;
    return instance;
}

// Text from a server, a link or a file must neither look like a log line of its own nor reach the terminal as
// a control sequence.
QString onOneLine(QString text) {
    for (auto& character : text) {
        if (character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
            character == QChar::ParagraphSeparator) {
            character = u' ';
        }
    }
    return text;
}

void write(LogSink sink, const QString& message) {
    const auto line = onOneLine(message);
    auto& shared = state();
    const std::lock_guard lock(shared.mutex);
    if (shared.handler) {
        shared.handler(sink, line);
        return;
    }
    const QByteArray text =
        QDateTime::currentDateTime().toString(u"HH:mm:ss.zzz ").toUtf8() + line.toUtf8() + '\n';
    auto* stream = sink == LogSink::platform ? stderr : stdout;
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stream);
    std::fflush(stream);
}

} // namespace

void logLine(const QString& line) {
    write(LogSink::platform, line);
}

void printLine(const QString& line) {
    write(LogSink::standardOutput, line);
}

void setLogHandler(LogHandler handler) {
    auto& shared = state();
    const std::lock_guard lock(shared.mutex);
    shared.handler = std::move(handler);
}

} // namespace platform
