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

QStringList formatArguments(const SoundFormat& format) {
    return {QStringLiteral("rate=%1").arg(format.rate), QStringLiteral("channels=%1").arg(format.channels),
            QStringLiteral("format=%1").arg(format.samples)};
}

} // namespace

PrivateSound::PrivateSound(SoundServerKind kind)
    : m_kind(kind) {
    if (!m_folder.isValid()) {
        refuse(QStringLiteral("No folder for the sound server: %1").arg(m_folder.errorString()));
    }
    m_programs = soundPrograms(kind, m_folder.path());
    for (size_t index = 0; index < m_programs.size(); ++index) {
        m_processes.push_back(std::make_unique<ChildProcess>());
    }
}

void PrivateSound::start() {
    for (const auto& program : m_programs) {
        QFile::remove(file(program.socket));
    }
    for (size_t index = 0; index < m_programs.size(); ++index) {
        startProgram(index);
    }
}

void PrivateSound::startProgram(size_t index) {
    const auto& program = m_programs[index];
    const auto log = file(program.name + QStringLiteral(".log"));
    auto& process = *m_processes[index];
    process.start(program.name, program.arguments, soundServerEnvironment(m_folder.path()), log);
    const bool isLast = index + 1 == m_programs.size();
    const QDeadlineTimer limit(10000);
    while (!QFile::exists(file(program.socket)) || (isLast && !answers())) {
        if (!process.isRunning() || limit.hasExpired()) {
            refuse(QStringLiteral("%1 did not start: %2").arg(program.name, contents(log)));
        }
        QThread::msleep(20);
    }
}

bool PrivateSound::answers() const {
    try {
        control({QStringLiteral("info")});
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

void PrivateSound::stop() {
    thaw();
    for (auto process = m_processes.rbegin(); process != m_processes.rend(); ++process) {
        (*process)->signal(SIGTERM);
        if (!(*process)->waitForEnd(5000)) {
            (*process)->kill();
        }
    }
}

void PrivateSound::kill() {
    for (auto process = m_processes.rbegin(); process != m_processes.rend(); ++process) {
        (*process)->kill();
    }
}

void PrivateSound::freeze() {
    server().signal(SIGSTOP);
}

void PrivateSound::thaw() {
    server().signal(SIGCONT);
}

void PrivateSound::killSessionManager() {
    for (size_t index = 0; index < m_programs.size(); ++index) {
        if (m_programs[index].task == SoundProgram::Task::sessionManager) {
            m_processes[index]->kill();
            return;
        }
    }
    refuse(QStringLiteral("This sound server has no session manager."));
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
    result.insert(QStringLiteral("PIPEWIRE_RUNTIME_DIR"), m_folder.path());
    return result;
}

void PrivateSound::useInThisProcess() const {
    const auto variables = environment();
    for (const auto& name : variables.keys()) {
        if (name.startsWith(QLatin1String("PULSE_")) || name == QLatin1String("PIPEWIRE_RUNTIME_DIR")) {
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

// A null sink that rewinds, as it does by default, loses the first block of whatever starts to play in its
// monitor.
quint32 PrivateSound::addSink(const QString& name, const SoundFormat& format) {
    const auto number =
        loadModule(QStringLiteral("module-null-sink"),
                   QStringList{QStringLiteral("sink_name=") + name, QStringLiteral("norewinds=1")} +
                       formatArguments(format));
    awaitDefault(QStringLiteral("sink"));
    return number;
}

quint32 PrivateSound::addMicrophone(const QString& name, const SoundFormat& format) {
    addSink(name + QStringLiteral(".feed"), format);
    return loadModule(QStringLiteral("module-remap-source"),
                      QStringList{QStringLiteral("source_name=") + name,
                                  QStringLiteral("master=%1.feed.monitor").arg(name)} +
                          formatArguments(format));
}

quint32 PrivateSound::addSilentMicrophone(const QString& name) {
    const auto words = silentSource(m_kind, name);
    return loadModule(words.first(), words.mid(1));
}

quint32 PrivateSound::addNoisyMicrophone(const QString& name) {
    const auto pipe = file(name);
    const auto number =
        loadModule(QStringLiteral("module-pipe-source"),
                   QStringList{QStringLiteral("source_name=") + name, QStringLiteral("file=") + pipe} +
                       formatArguments({}));
    m_noises.push_back(std::make_unique<ChildProcess>());
    m_noises.back()->start(QStringLiteral("cp"), {QStringLiteral("/dev/urandom"), pipe}, environment(),
                           file(QStringLiteral("noise.log")));
    return number;
}

void PrivateSound::setDefaultSink(const QString& name) {
    control({QStringLiteral("set-default-sink"), name});
    awaitDefault(QStringLiteral("sink"), name);
}

void PrivateSound::setDefaultSource(const QString& name) {
    control({QStringLiteral("set-default-source"), name});
    awaitDefault(QStringLiteral("source"), name);
}

void PrivateSound::awaitDefault(const QString& kind, const QString& name) const {
    const QDeadlineTimer limit(10000);
    while (true) {
        const auto chosen = control({QStringLiteral("get-default-") + kind}).trimmed();
        if (name.isEmpty() ? !chosen.isEmpty() && !chosen.startsWith(u'@') : chosen == name) {
            return;
        }
        if (limit.hasExpired()) {
            refuse(QStringLiteral("The default %1 stays “%2”.").arg(kind, chosen));
        }
        QThread::msleep(20);
    }
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
    // With silence at the end, because the server drops what is rendered but not yet played when a player
    // leaves.
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

// With a long buffer, because a player that is late on a busy machine would tear holes into the sound.
SoundPlayback PrivateSound::play(const QString& sink, const QStringList& arguments) {
    auto player = std::make_unique<ChildProcess>();
    player->start(QStringLiteral("paplay"),
                  QStringList{QStringLiteral("--device=") + sink, QStringLiteral("--latency-msec=1000")} +
                      arguments,
                  environment(), file(QStringLiteral("player.log")));
    return SoundPlayback(std::move(player));
}
