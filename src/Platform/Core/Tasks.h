#pragma once

#include <QCoroTask>

#include <exception>
#include <optional>

#include <QString>

namespace platform {

// Runs a background task that nobody awaits. What escapes it is logged as "[Task] <name>: <text>"; a
// cancelled operation is not a failure. `name` is a literal.
void startTask(QCoro::Task<void> task, const char* name);

// Awaits the task and returns the text of what it threw, or nullopt when it succeeded.
QCoro::Task<std::optional<QString>> catchError(QCoro::Task<void> task);

// The text of an exception for a log line or the user.
QString errorText(const std::exception& error);
QString errorText(const std::exception_ptr& error);

} // namespace platform
