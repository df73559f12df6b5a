#pragma once

#include <QStringList>

// What this process writes is for its user alone, and its memory does not get on the disk. Both are of this
// process only: what it starts for the user is to have what the user's session gives.
namespace platform {

// First of all.
void restrictProcess();
// In a child between fork and exec.
void restoreSessionLimits();

// Starts a program for the user, which outlives this process. False when it cannot be started.
// QProcess::startDetached of Qt 6.4 runs no code in the child, so this does not use it.
bool startUserProgram(const QString& program, const QStringList& arguments);

} // namespace platform
