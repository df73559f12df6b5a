#pragma once

#include <QStringList>

// Files that this process creates are private to its user, and its memory is never written to disk. Programs
// that it starts for the user get the session's own limits back.
namespace platform {

// Applies both restrictions. Call it first in main().
void restrictProcess();
// Restores the session's limits. Call it in a child process between fork and exec.
void restoreSessionLimits();

// Starts a program that outlives this process. Returns false if it cannot be started. QProcess::startDetached
// of Qt 6.4 runs no code in the child, so it could not restore the limits.
bool startUserProgram(const QString& program, const QStringList& arguments);

} // namespace platform
