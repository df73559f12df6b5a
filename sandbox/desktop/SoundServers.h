#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <vector>

enum class SoundServerKind { pulseAudio, pipeWire };

// A process of a sound server, and the socket in the server's folder that shows when the next process can
// start.
struct SoundProgram {
    enum class Task { server, sessionManager };

    QString name;
    QStringList arguments;
    QString socket;
    Task task = Task::server;
};

// Returns the processes in the order in which they start; the last one answers the clients, on the socket
// "native" in `folder`. Writes their configuration. Throws std::runtime_error.
std::vector<SoundProgram> soundPrograms(SoundServerKind kind, const QString& folder);

// Returns the system's environment with the variables that the server's own processes read.
QProcessEnvironment soundServerEnvironment(const QString& folder);

// Returns the arguments of load-module for a silent source on this server.
QStringList silentSource(SoundServerKind kind, const QString& name);
