#pragma once

#include <QCoroTask>

#include <exception>
#include <optional>

#include <QString>

namespace platform {

// Runs a background task that nobody awaits. An exception that escapes it, other than OperationCancelled, is
// logged as "[Task] <name>: <text>". `name` is a string literal.
void startTask(QCoro::Task<void> task, const char* name);

// Awaits the task. Returns the text of the exception that it threw, or nullopt if it succeeded.
QCoro::Task<std::optional<QString>> catchError(QCoro::Task<void> task);

// Return the text of an exception, for a log line or the user.
QString errorText(const std::exception& error);
QString errorText(const std::exception_ptr& error);

} // namespace platform
