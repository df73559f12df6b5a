#include "sandbox/desktop/PrivateSound.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <cmath>
#include <csignal>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace {

[[noreturn]] void refuse(const QString& what) {
    throw std::runtime_error(what.toStdString());
}

QStringList formatArguments(const SoundFormat& format) {
    return {QStringLiteral("rate=%1").arg(format.rate), QStringLiteral("channels=%1").arg(format.channels),
            QStringLiteral("format=%1").arg(format.samples)};
}

QString contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : file.errorString();
}

} // namespace

PrivateSound::PrivateSound() {
    if (!m_folder.isValid()) {
        refuse(QStringLiteral("No folder for the sound server: %1").arg(m_folder.errorString()));
    }
}

void PrivateSound::start() {
    const auto protocol = QStringLiteral("module-native-protocol-unix auth-anonymous=1 socket=%1")
                              .arg(file(QStringLiteral("native")));
    const auto log = file(QStringLiteral("server.log"));
    m_server.start(QStringLiteral("pulseaudio"),
                   {QStringLiteral("-n"), QStringLiteral("--daemonize=no"),
                    QStringLiteral("--use-pid-file=no"), QStringLiteral("--exit-idle-time=-1"),
                    QStringLiteral("--realtime=no"), QStringLiteral("--high-priority=no"),
                    QStringLiteral("-L"), protocol},
                   environment(), log);
    const QDeadlineTimer limit(10000);
    while (true) {
        try {
            control({QStringLiteral("info")});
            return;
        } catch (const std::runtime_error&) {
            if (!isRunning() || limit.hasExpired()) {
                refuse(QStringLiteral("The sound server did not start: ") + contents(log));
            }
        }
        QThread::msleep(20);
    }
}

void PrivateSound::stop() {
    thaw();
    m_server.signal(SIGTERM);
    if (!m_server.waitForEnd(5000)) {
        kill();
    }
}

void PrivateSound::kill() {
    m_server.kill();
}

void PrivateSound::freeze() {
    m_server.signal(SIGSTOP);
}

void PrivateSound::thaw() {
    m_server.signal(SIGCONT);
}

QString PrivateSound::address() const {
    return QStringLiteral("unix:") + file(QStringLiteral("native"));
}

QProcessEnvironment PrivateSound::environment() const {
    auto result = QProcessEnvironment::systemEnvironment();
    result.insert(QStringLiteral("PULSE_SERVER"), address());
    result.insert(QStringLiteral("PULSE_RUNTIME_PATH"), m_folder.path());
    result.insert(QStringLiteral("PULSE_STATE_PATH"), m_folder.path());
    result.insert(QStringLiteral("PULSE_COOKIE"), file(QStringLiteral("cookie")));
    return result;
}

void PrivateSound::useInThisProcess() const {
    const auto variables = environment();
    for (const auto& name : variables.keys()) {
        if (name.startsWith(QLatin1String("PULSE_"))) {
            qputenv(name.toLocal8Bit().constData(), variables.value(name).toLocal8Bit());
        }
    }
}

quint32 PrivateSound::loadModule(const QString& module, const QStringList& arguments) {
    return control(QStringList{QStringLiteral("load-module"), module} + arguments).trimmed().toUInt();
}

void PrivateSound::unloadModule(quint32 number) {
    control({QStringLiteral("unload-module"), QString::number(number)});
}

// A null sink that rewinds, as it does by default, keeps the first block of whatever starts to play from its
// monitor.
quint32 PrivateSound::addSink(const QString& name, const SoundFormat& format) {
    return loadModule(QStringLiteral("module-null-sink"),
                      QStringList{QStringLiteral("sink_name=") + name, QStringLiteral("norewinds=1")} +
                          formatArguments(format));
}

quint32 PrivateSound::addMicrophone(const QString& name, const SoundFormat& format) {
    addSink(name + QStringLiteral(".feed"), format);
    return loadModule(QStringLiteral("module-remap-source"),
                      QStringList{QStringLiteral("source_name=") + name,
                                  QStringLiteral("master=%1.feed.monitor").arg(name)} +
                          formatArguments(format));
}

quint32 PrivateSound::addSilentMicrophone(const QString& name) {
    return loadModule(QStringLiteral("module-null-source"), {QStringLiteral("source_name=") + name});
}

void PrivateSound::setDefaultSink(const QString& name) {
    control({QStringLiteral("set-default-sink"), name});
}

void PrivateSound::setDefaultSource(const QString& name) {
    control({QStringLiteral("set-default-source"), name});
}

QString PrivateSound::control(const QStringList& arguments) const {
    const auto output = file(QStringLiteral("pactl.out"));
    QFile::remove(output);
    ChildProcess pactl;
    pactl.start(QStringLiteral("pactl"), arguments, environment(), output);
    pactl.waitForEnd(10000);
    if (!pactl.succeeded()) {
        refuse(QStringLiteral("pactl %1: %2").arg(arguments.join(u' '), contents(output)));
    }
    return contents(output);
}

SoundPlayback PrivateSound::playFile(const QString& path, const QString& sink) {
    return play(sink, {path});
}

SoundPlayback PrivateSound::playTone(const QString& sink, double frequency, double amplitude, double seconds,
                                     quint32 rate) {
    const auto sounding = static_cast<size_t>(std::llround(seconds * rate));
    // Silence behind it: the server cuts what is rendered and not yet played when a player leaves.
    std::vector<float> samples(sounding + rate / 4);
    for (size_t i = 0; i < sounding; ++i) {
        const auto phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(i) / rate;
        samples[i] = static_cast<float>(amplitude * std::sin(phase));
    }
    QFile tone(file(QStringLiteral("tone%1").arg(m_tones++)));
    const auto size = static_cast<qint64>(samples.size() * sizeof(float));
    if (!tone.open(QIODevice::WriteOnly) ||
        tone.write(reinterpret_cast<const char*>(samples.data()), size) != size) {
        refuse(QStringLiteral("The tone could not be written: %1").arg(tone.errorString()));
    }
    return play(sink,
                {QStringLiteral("--raw"), QStringLiteral("--format=float32le"),
                 QStringLiteral("--channels=1"), QStringLiteral("--rate=%1").arg(rate), tone.fileName()});
}

// A long buffer: a player that is late because the machine is busy would tear holes into the sound.
SoundPlayback PrivateSound::play(const QString& sink, const QStringList& arguments) {
    auto player = std::make_unique<ChildProcess>();
    player->start(QStringLiteral("paplay"),
                  QStringList{QStringLiteral("--device=") + sink, QStringLiteral("--latency-msec=1000")} +
                      arguments,
                  environment(), file(QStringLiteral("player.log")));
    return SoundPlayback(std::move(player));
}
