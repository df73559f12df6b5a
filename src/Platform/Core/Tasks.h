#pragma once

#include <QCoroTask>

#include <exception>

#include <QString>

namespace platform {

// Runs a background task that nobody awaits. What escapes it is logged as "[Task] <name>: <text>"; a
// cancelled operation is no failure. `name` is a literal.
void startTask(QCoro::Task<void> task, const char* name);

// The text of an exception for a log line or the user.
QString errorText(const std::exception& error);
QString errorText(const std::exception_ptr& error);

} // namespace platform
