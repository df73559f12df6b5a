#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <vector>

enum class SoundServerKind { pulseAudio, pipeWire };

// A process of a sound server, and the socket in the server's folder that tells the next one to start.
struct SoundProgram {
    enum class Task { server, sessionManager };

    QString name;
    QStringList arguments;
    QString socket;
    Task task = Task::server;
};

// In the order of their starts; the last one answers the clients, on the socket "native" in `folder`. Writes
// what they read at their start. Throws std::runtime_error.
std::vector<SoundProgram> soundPrograms(SoundServerKind kind, const QString& folder);

// The system's environment with what the server's own processes read.
QProcessEnvironment soundServerEnvironment(const QString& folder);

// A source that is silent, as load-module of this server takes it.
QStringList silentSource(SoundServerKind kind, const QString& name);
