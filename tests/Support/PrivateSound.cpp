#include "PrivateSound.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <cmath>
#include <csignal>
#include <numbers>
#include <stdexcept>
#include <vector>

#include <sys/prctl.h>

namespace {

[[noreturn]] void refuse(const QString& what) {
    throw std::runtime_error(what.toStdString());
}

QStringList formatArguments(const SoundFormat& format) {
    return {QStringLiteral("rate=%1").arg(format.rate), QStringLiteral("channels=%1").arg(format.channels),
            QStringLiteral("format=%1").arg(format.samples)};
}

void end(QProcess& process) {
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
    }
}

} // namespace

SoundPlayback::SoundPlayback(std::unique_ptr<QProcess> player)
    : m_player(std::move(player)) {}

SoundPlayback::~SoundPlayback() {
    if (m_player) {
        end(*m_player);
    }
}

bool SoundPlayback::isPlaying() const {
    m_player->waitForFinished(0);
    return m_player->state() == QProcess::Running;
}

bool SoundPlayback::waitForEnd(int milliseconds) {
    return m_player->state() == QProcess::NotRunning || m_player->waitForFinished(milliseconds);
}

PrivateSound::PrivateSound() {
    if (!m_folder.isValid()) {
        refuse(QStringLiteral("No folder for the sound server: %1").arg(m_folder.errorString()));
    }
}

PrivateSound::~PrivateSound() {
    end(m_server);
}

void PrivateSound::start() {
    const auto socket = m_folder.filePath(QStringLiteral("native"));
    const auto protocol =
        QStringLiteral("module-native-protocol-unix auth-anonymous=1 socket=%1").arg(socket);
    m_server.setStandardErrorFile(m_folder.filePath(QStringLiteral("server.log")), QIODevice::Append);
    spawn(m_server, QStringLiteral("pulseaudio"),
          {QStringLiteral("-n"), QStringLiteral("--daemonize=no"), QStringLiteral("--use-pid-file=no"),
           QStringLiteral("--exit-idle-time=-1"), QStringLiteral("--realtime=no"),
           QStringLiteral("--high-priority=no"), QStringLiteral("-L"), protocol});
    const QDeadlineTimer limit(10000);
    while (true) {
        QProcess question;
        spawn(question, QStringLiteral("pactl"), {QStringLiteral("info")});
        if (question.waitForFinished() && question.exitCode() == 0) {
            return;
        }
        if (!isRunning() || limit.hasExpired()) {
            QFile log(m_folder.filePath(QStringLiteral("server.log")));
            const bool readable = log.open(QIODevice::ReadOnly);
            refuse(QStringLiteral("The sound server did not start: %1")
                       .arg(readable ? QString::fromUtf8(log.readAll()) : log.errorString()));
        }
        QThread::msleep(20);
    }
}

void PrivateSound::stop() {
    thaw();
    m_server.terminate();
    if (!m_server.waitForFinished(5000)) {
        kill();
    }
}

void PrivateSound::kill() {
    end(m_server);
}

void PrivateSound::freeze() {
    if (isRunning()) {
        ::kill(static_cast<pid_t>(processId()), SIGSTOP);
    }
}

void PrivateSound::thaw() {
    if (isRunning()) {
        ::kill(static_cast<pid_t>(processId()), SIGCONT);
    }
}

bool PrivateSound::isRunning() const {
    return m_server.state() == QProcess::Running;
}

QString PrivateSound::address() const {
    return QStringLiteral("unix:") + m_folder.filePath(QStringLiteral("native"));
}

QProcessEnvironment PrivateSound::environment() const {
    auto result = QProcessEnvironment::systemEnvironment();
    result.insert(QStringLiteral("PULSE_SERVER"), address());
    result.insert(QStringLiteral("PULSE_RUNTIME_PATH"), m_folder.path());
    result.insert(QStringLiteral("PULSE_STATE_PATH"), m_folder.path());
    result.insert(QStringLiteral("PULSE_COOKIE"), m_folder.filePath(QStringLiteral("cookie")));
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

void PrivateSound::setDefaultSink(const QString& name) {
    control({QStringLiteral("set-default-sink"), name});
}

void PrivateSound::setDefaultSource(const QString& name) {
    control({QStringLiteral("set-default-source"), name});
}

QString PrivateSound::control(const QStringList& arguments) const {
    QProcess pactl;
    spawn(pactl, QStringLiteral("pactl"), arguments);
    if (!pactl.waitForFinished() || pactl.exitStatus() != QProcess::NormalExit || pactl.exitCode() != 0) {
        refuse(QStringLiteral("pactl %1: %2")
                   .arg(arguments.join(u' '), QString::fromUtf8(pactl.readAllStandardError())));
    }
    return QString::fromUtf8(pactl.readAllStandardOutput());
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
    QFile file(m_folder.filePath(QStringLiteral("tone%1").arg(m_tones++)));
    const auto size = static_cast<qint64>(samples.size() * sizeof(float));
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(reinterpret_cast<const char*>(samples.data()), size) != size) {
        refuse(QStringLiteral("The tone could not be written: %1").arg(file.errorString()));
    }
    return play(sink,
                {QStringLiteral("--raw"), QStringLiteral("--format=float32le"),
                 QStringLiteral("--channels=1"), QStringLiteral("--rate=%1").arg(rate), file.fileName()});
}

// A long buffer: a player that is late because the machine is busy would tear holes into the sound.
SoundPlayback PrivateSound::play(const QString& sink, const QStringList& arguments) {
    auto player = std::make_unique<QProcess>();
    spawn(*player, QStringLiteral("paplay"),
          QStringList{QStringLiteral("--device=") + sink, QStringLiteral("--latency-msec=1000")} + arguments);
    return SoundPlayback(std::move(player));
}

void PrivateSound::spawn(QProcess& process, const QString& program, const QStringList& arguments) const {
    process.setProcessEnvironment(environment());
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(program, arguments);
    if (!process.waitForStarted()) {
        refuse(QStringLiteral("%1: %2").arg(program, process.errorString()));
    }
}
