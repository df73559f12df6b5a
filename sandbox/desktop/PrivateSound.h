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

// Something that plays into a sink. Destroying it ends it.
class SoundPlayback {
public:
    explicit SoundPlayback(std::unique_ptr<ChildProcess> player)
        : m_player(std::move(player)) {}

    bool isPlaying() const { return m_player->isRunning(); }
    // Blocks until the end. False after `milliseconds`.
    bool waitForEnd(int milliseconds) { return m_player->waitForEnd(milliseconds); }

private:
    std::unique_ptr<ChildProcess> m_player;
};

// A sound server of its own, in a folder of its own, with null devices only. Every operation blocks until it
// is done and throws std::runtime_error with the server's words if it fails. The end of this process ends the
// server and the players too.
class PrivateSound {
public:
    // Starts nothing.
    explicit PrivateSound(SoundServerKind kind = SoundServerKind::pulseAudio);

    void start();
    // Politely, and at once.
    void stop();
    void kill();
    // A server that is there and does not answer.
    void freeze();
    void thaw();
    // What connects streams to devices; only PipeWire has it as a process.
    void killSessionManager();
    bool isRunning() { return server().isRunning(); }
    // Of the process that answers the clients.
    qint64 processId() { return server().processId(); }
    SoundServerKind kind() const { return m_kind; }

    // For PULSE_SERVER and for makePulseAudioHost().
    QString address() const;
    // The system's environment, with everything that makes a child process use this server.
    QProcessEnvironment environment() const;
    // The same for this process.
    void useInThisProcess() const;

    // Gives the module's number. The names of sinks and sources are their arguments' own.
    quint32 loadModule(const QString& module, const QStringList& arguments = {});
    void unloadModule(quint32 number);
    // A sink that plays to nobody.
    quint32 addSink(const QString& name, const SoundFormat& format = {});
    // A source that hears what is played into the sink "<name>.feed", and that is no monitor. The number is
    // that of the source: unloading it unplugs the microphone.
    quint32 addMicrophone(const QString& name, const SoundFormat& format = {});
    // A source that is silent, and nothing else: no sink comes with it.
    quint32 addSilentMicrophone(const QString& name);
    // The same, full of noise.
    quint32 addNoisyMicrophone(const QString& name);
    void setDefaultSink(const QString& name);
    void setDefaultSource(const QString& name);
    // The output of `pactl` with these arguments.
    QString control(const QStringList& arguments) const;

    // A file that libsndfile reads.
    SoundPlayback playFile(const QString& path, const QString& sink);
    // A sine from phase 0, in 32-bit floats, one channel, with `amplitude` of full scale 1.
    SoundPlayback playTone(const QString& sink, double frequency, double amplitude, double seconds,
                           quint32 rate = 48000);

private:
    SoundPlayback play(const QString& sink, const QStringList& arguments);

    void startProgram(size_t index);
    bool answers() const;
    // A session manager chooses after the answer.
    void awaitDefault(const QString& kind, const QString& name = {}) const;
    ChildProcess& server() { return *m_processes.back(); }
    QString file(const QString& name) const { return m_folder.filePath(name); }

    const SoundServerKind m_kind;
    QTemporaryDir m_folder;
    std::vector<SoundProgram> m_programs;
    // One each, in the same order.
    std::vector<std::unique_ptr<ChildProcess>> m_processes;
    std::vector<std::unique_ptr<ChildProcess>> m_noises;
    int m_tones = 0;
};
