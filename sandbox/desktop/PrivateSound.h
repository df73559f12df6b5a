#pragma once

#include "sandbox/desktop/ChildProcess.h"
#include "sandbox/desktop/SoundServers.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

struct SoundFormat {
    quint32 rate = 48000; // Hz
    quint32 channels = 2;
    QString samples = QStringLiteral("s16le");
};

// A player that plays into a sink. Destroying it ends it.
class SoundPlayback {
public:
    explicit SoundPlayback(std::unique_ptr<ChildProcess> player)
        : m_player(std::move(player)) {}

    bool isPlaying() const { return m_player->isRunning(); }
    // Blocks until the end. Returns false after `milliseconds`.
    bool waitForEnd(int milliseconds) { return m_player->waitForEnd(milliseconds); }

private:
    std::unique_ptr<ChildProcess> m_player;
};

// A private sound server with only null devices, in a folder of its own. Every operation blocks until it is
// done and throws std::runtime_error with the server's message if it fails. The server and the players end
// with this process.
class PrivateSound {
public:
    // Does not start the server.
    explicit PrivateSound(SoundServerKind kind = SoundServerKind::pulseAudio);

    void start();
    // End the server: stop() asks it to, kill() does not.
    void stop();
    void kill();
    // Makes the server stop answering, and answer again.
    void freeze();
    void thaw();
    // Kills the process that connects streams to devices; only PipeWire has one.
    void killSessionManager();
    bool isRunning() { return server().isRunning(); }
    // Returns the id of the process that answers the clients.
    qint64 processId() { return server().processId(); }
    SoundServerKind kind() const { return m_kind; }

    // Returns the value for PULSE_SERVER and for makePulseAudioHost().
    QString address() const;
    // Returns the system's environment with the variables that make a child process use this server.
    QProcessEnvironment environment() const;
    // Does the same for this process.
    void useInThisProcess() const;

    // Returns the module's number. The names of sinks and sources are in the arguments.
    quint32 loadModule(const QString& module, const QStringList& arguments = {});
    void unloadModule(quint32 number);
    // Adds a sink that nobody hears.
    quint32 addSink(const QString& name, const SoundFormat& format = {});
    // Adds a source that is not a monitor and carries what is played into the sink "<name>.feed". Returns the
    // number of the source: unloading it unplugs the microphone.
    quint32 addMicrophone(const QString& name, const SoundFormat& format = {});
    // Adds a silent source, without a sink.
    quint32 addSilentMicrophone(const QString& name);
    // Adds a source that delivers noise.
    quint32 addNoisyMicrophone(const QString& name);
    void setDefaultSink(const QString& name);
    void setDefaultSource(const QString& name);
    // Returns the output of `pactl` with these arguments.
    QString control(const QStringList& arguments) const;

    // Plays a file that libsndfile can read.
    SoundPlayback playFile(const QString& path, const QString& sink);
    // Plays a sine from phase 0, in 32-bit floats on one channel, with `amplitude` relative to a full scale
    // of 1.
    SoundPlayback playTone(const QString& sink, double frequency, double amplitude, double seconds,
                           quint32 rate = 48000);

private:
    SoundPlayback play(const QString& sink, const QStringList& arguments);

    void startProgram(size_t index);
    bool answers() const;
    // Waits, because a session manager chooses the default after it has answered.
    void awaitDefault(const QString& kind, const QString& name = {}) const;
    ChildProcess& server() { return *m_processes.back(); }
    QString file(const QString& name) const { return m_folder.filePath(name); }

    const SoundServerKind m_kind;
    QTemporaryDir m_folder;
    std::vector<SoundProgram> m_programs;
    // One process for each program, in the same order.
    std::vector<std::unique_ptr<ChildProcess>> m_processes;
    std::vector<std::unique_ptr<ChildProcess>> m_noises;
    int m_tones = 0;
};
