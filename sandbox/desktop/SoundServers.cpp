#include "sandbox/desktop/SoundServers.h"

#include <QDir>
#include <QFile>

#include <stdexcept>

namespace {

// Keeps the machine's devices out, for WirePlumber 0.4 and for 0.5. Also keeps it from asking a bus about the
// rights of clients.
constexpr const char* managerScript = R"(alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
)";
constexpr const char* managerProfile = R"(wireplumber.profiles = {
  main = {
    hardware.audio = disabled
    hardware.bluetooth = disabled
    hardware.video-capture = disabled
    support.portal-permissionstore = disabled
  }
}
)";

void write(const QString& path, const QByteArray& text) {
    QDir().mkpath(path.section(u'/', 0, -2));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        throw std::runtime_error("Cannot write " + path.toStdString());
    }
}

// The installed configuration, with our socket and without the output that the server invents if there is
// none.
QByteArray pulseConfiguration(const QString& folder) {
    QFile installed(QStringLiteral("/usr/share/pipewire/pipewire-pulse.conf"));
    if (!installed.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("PipeWire's PulseAudio server is not installed.");
    }
    QByteArray result;
    for (const auto& line : installed.readAll().split('\n')) {
        if (!line.contains("module-always-sink")) {
            result += line + '\n';
        }
    }
    return result.replace("unix:native", "unix:" + folder.toUtf8() + "/native");
}

std::vector<SoundProgram> pulseAudio(const QString& folder) {
    const auto protocol =
        QStringLiteral("module-native-protocol-unix auth-anonymous=1 socket=%1/native").arg(folder);
    return {{.name = QStringLiteral("pulseaudio"),
             .arguments = {QStringLiteral("-n"), QStringLiteral("--daemonize=no"),
                           QStringLiteral("--use-pid-file=no"), QStringLiteral("--exit-idle-time=-1"),
                           QStringLiteral("--realtime=no"), QStringLiteral("--high-priority=no"),
                           QStringLiteral("-L"), protocol},
             .socket = QStringLiteral("native")}};
}

std::vector<SoundProgram> pipeWire(const QString& folder) {
    write(folder + QStringLiteral("/config/wireplumber/main.lua.d/60-no-hardware.lua"), managerScript);
    write(folder + QStringLiteral("/config/wireplumber/wireplumber.conf.d/60-no-hardware.conf"),
          managerProfile);
    const auto configuration = folder + QStringLiteral("/pipewire-pulse.conf");
    write(configuration, pulseConfiguration(folder));
    return {{.name = QStringLiteral("pipewire"), .arguments = {}, .socket = QStringLiteral("pipewire-0")},
            {.name = QStringLiteral("wireplumber"),
             .arguments = {},
             .socket = QStringLiteral("pipewire-0"),
             .task = SoundProgram::Task::sessionManager},
            {.name = QStringLiteral("pipewire-pulse"),
             .arguments = {QStringLiteral("-c"), configuration},
             .socket = QStringLiteral("native")}};
}

} // namespace

std::vector<SoundProgram> soundPrograms(SoundServerKind kind, const QString& folder) {
    switch (kind) {
    case SoundServerKind::pulseAudio:
        return pulseAudio(folder);
    case SoundServerKind::pipeWire:
        return pipeWire(folder);
    }
    return {};
}

QProcessEnvironment soundServerEnvironment(const QString& folder) {
    auto result = QProcessEnvironment::systemEnvironment();
    result.insert(QStringLiteral("PULSE_RUNTIME_PATH"), folder);
    result.insert(QStringLiteral("PULSE_STATE_PATH"), folder);
    result.insert(QStringLiteral("PIPEWIRE_RUNTIME_DIR"), folder);
    result.insert(QStringLiteral("XDG_CONFIG_HOME"), folder + QStringLiteral("/config"));
    result.insert(QStringLiteral("XDG_STATE_HOME"), folder + QStringLiteral("/state"));
    return result;
}

QStringList silentSource(SoundServerKind kind, const QString& name) {
    switch (kind) {
    case SoundServerKind::pulseAudio:
        return {QStringLiteral("module-null-source"), QStringLiteral("source_name=") + name};
    case SoundServerKind::pipeWire:
        return {QStringLiteral("module-null-sink"), QStringLiteral("sink_name=") + name,
                QStringLiteral("media.class=Audio/Source/Virtual")};
    }
    return {};
}
