#pragma once

#include <QString>

#include <functional>

namespace platform {

// Free text with a bracketed tag, one line a call, any thread. Secrets have a type that cannot get here
// (Secret.h).
enum class LogSink { platform, standardOutput };

// The platform log: standard error, which the desktop session keeps in its journal.
void logLine(const QString& line);
// For the layers that report to standard output.
void printLine(const QString& line);

// Receives every line of both sinks instead of the streams. Called under a lock, on the thread that logs:
// keep it short and do not log from it. An empty handler brings the streams back.
using LogHandler = std::function<void(LogSink, const QString&)>;
void setLogHandler(LogHandler handler);

} // namespace platform
