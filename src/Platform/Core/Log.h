#pragma once

#include <QString>

#include <functional>

namespace platform {

// Where a line goes. A line is free text with a bracketed tag and may be logged on any thread. Secrets have a
// type that cannot be logged (Secret.h).
enum class LogSink { platform, standardOutput };

// Writes to the platform log: standard error, which the desktop session keeps in its journal.
void logLine(const QString& line);
// Writes to standard output, which some layers use instead of the platform log.
void printLine(const QString& line);

// Receives every line of both sinks instead of the streams. Called under a lock on the logging thread: keep
// it short and do not log from it. An empty handler restores the streams.
using LogHandler = std::function<void(LogSink, const QString&)>;
void setLogHandler(LogHandler handler);

} // namespace platform
