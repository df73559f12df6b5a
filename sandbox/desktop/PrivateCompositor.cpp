#include "sandbox/desktop/PrivateCompositor.h"

#include "sandbox/desktop/Compositors.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <csignal>
#include <stdexcept>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int startTimeout = 30000; // ms
constexpr const char* userWithoutRights = "nobody";

constexpr const char* openBusConfiguration = R"(<busconfig>
<type>session</type>
<listen>unix:path=%1</listen>
<auth>EXTERNAL</auth>
<policy context="default">
<allow user="*"/>
<allow send_destination="*" eavesdrop="true"/>
<allow eavesdrop="true"/>
<allow own="*"/>
</policy>
</busconfig>
)";

// Admits clients of another user, then writes the environment to a file.
constexpr const char* script = R"(#!/bin/sh
xhost +local: >/dev/null
env >"%1.new" && mv "%1.new" "%1"
)";

bool isRoot() {
    return ::geteuid() == 0;
}

const passwd& userOfCompositor() {
    const auto* user = ::getpwnam(userWithoutRights);
    if (user) {
        return *user;
    }
    refuse(QStringLiteral("There is no user for the desktop: %1").arg(QLatin1String(userWithoutRights)));
}

QStringList asUser(const QStringList& command) {
    if (!isRoot()) {
        return command;
    }
    const auto& user = userOfCompositor();
    // Changing the user clears the signal that is sent when the parent ends, so it is set again.
    return QStringList{QStringLiteral("setpriv"),
                       QStringLiteral("--reuid=%1").arg(user.pw_uid),
                       QStringLiteral("--regid=%1").arg(user.pw_gid),
                       QStringLiteral("--clear-groups"),
                       QStringLiteral("--pdeathsig"),
                       QStringLiteral("KILL"),
                       QStringLiteral("--")} +
           command;
}

// Creates the folder as a system with a display server does; one made by an unprivileged user would be
// refused by others.
void prepareSocketFolder() {
    if (isRoot()) {
        ::mkdir("/tmp/.X11-unix", 0777);
        ::chmod("/tmp/.X11-unix", 01777);
    }
}

} // namespace

std::optional<CompositorKind> compositorNamed(const QString& name) {
    if (name == u"kwin") {
        return CompositorKind::kwin;
    }
    if (name == u"gnome") {
        return CompositorKind::gnome;
    }
    if (name == u"sway") {
        return CompositorKind::sway;
    }
    return std::nullopt;
}

std::unique_ptr<PrivateCompositor> PrivateCompositor::start(CompositorKind kind, CompositorScreens screens) {
    switch (kind) {
    case CompositorKind::kwin:
        return std::make_unique<KWinCompositor>(screens);
    case CompositorKind::gnome:
        return std::make_unique<GnomeCompositor>(screens);
    case CompositorKind::sway:
        return std::make_unique<SwayCompositor>(screens);
    }
    return {};
}

PrivateCompositor::PrivateCompositor(CompositorScreens screens)
    : m_screens(screens) {
    own(m_folder.path());
    for (const auto* name : {"run", "home", "home/Pictures"}) {
        QDir().mkdir(path(QLatin1String(name)), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        own(path(QLatin1String(name)));
    }
    prepareSocketFolder();
    m_environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/local/bin:/usr/bin:/bin"));
    m_environment.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
    m_environment.insert(QStringLiteral("HOME"), path(QStringLiteral("home")));
    m_environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), path(QStringLiteral("run")));
    m_environment.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    startBus(QStringLiteral("bus"));
    m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress());
}

QString PrivateCompositor::busAddress() const {
    return QStringLiteral("unix:path=") + runtimePath(QStringLiteral("bus"));
}

void PrivateCompositor::own(const QString& path) const {
    if (isRoot() && ::chown(QFile::encodeName(path).constData(), userOfCompositor().pw_uid,
                            userOfCompositor().pw_gid) != 0) {
        refuse(QStringLiteral("Cannot give %1 to the compositor.").arg(path));
    }
}

void PrivateCompositor::write(const QString& name, const QByteArray& text, bool isProgram) const {
    for (qsizetype slash = name.indexOf(u'/'); slash >= 0; slash = name.indexOf(u'/', slash + 1)) {
        if (const auto folder = path(name.left(slash)); QDir().mkdir(folder)) {
            own(folder);
        }
    }
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        refuse(QStringLiteral("Cannot write %1: %2").arg(file.fileName(), file.errorString()));
    }
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner |
                        (isProgram ? QFile::ExeOwner : QFile::Permission()));
    own(file.fileName());
}

void PrivateCompositor::startBus(const QString& socket) {
    const auto file = socket + QStringLiteral(".conf");
    write(file, QString::fromLatin1(openBusConfiguration).arg(runtimePath(socket)).toUtf8());
    const auto command = asUser({QStringLiteral("dbus-daemon"), QStringLiteral("--nofork"),
                                 QStringLiteral("--config-file=") + path(file)});
    m_buses.push_back(std::make_unique<ChildProcess>());
    m_buses.back()->start(command.first(), command.mid(1), m_environment,
                          path(socket + QStringLiteral(".log")));
    await(QStringLiteral("a bus"), [&] { return QFile::exists(runtimePath(socket)); });
}

void PrivateCompositor::startCompositor(const QString& program, const QStringList& arguments) {
    const auto command = asUser(QStringList{program} + arguments);
    m_compositor.start(command.first(), command.mid(1), m_environment, path(QStringLiteral("log")));
}

QString PrivateCompositor::log() const {
    return contents(path(QStringLiteral("log"))).right(2000);
}

void PrivateCompositor::await(const QString& what, const std::function<bool()>& happens) {
    const QDeadlineTimer limit(startTimeout);
    while (!happens()) {
        const bool hasEnded = m_compositor.processId() != 0 && !m_compositor.isRunning();
        if (hasEnded || limit.hasExpired()) {
            refuse(QStringLiteral("The desktop does not get as far as %1: %2").arg(what, log()));
        }
        QThread::msleep(50);
    }
}

QString PrivateCompositor::readyScript() const {
    const auto name = QStringLiteral("ready-script");
    write(name, QString::fromLatin1(script).arg(path(QStringLiteral("ready"))).toUtf8(), true);
    return path(name);
}

void PrivateCompositor::awaitReadyScript() {
    const auto file = path(QStringLiteral("ready"));
    await(QStringLiteral("its clients"), [&] { return QFile::exists(file); });
    const auto lines = contents(file).split(u'\n');
    for (const auto& line : lines) {
        const auto name = line.section(u'=', 0, 0);
        const auto value = line.section(u'=', 1);
        if (name == u"WAYLAND_DISPLAY") {
            m_clientVariables.insert(name, runtimePath(value));
        } else if (name == u"DISPLAY" || name == u"XAUTHORITY" || name == u"SWAYSOCK") {
            m_clientVariables.insert(name, value);
        }
    }
}

void PrivateCompositor::tellScale() const {
    const auto name = QStringLiteral("resources");
    write(name, "Xft.dpi: " + QByteArray::number(96 * scaleOfClients()) + '\n');
    runClient(QStringLiteral("xrdb"), {QStringLiteral("-nocpp"), QStringLiteral("-merge"), path(name)});
}

QProcessEnvironment PrivateCompositor::clientEnvironment() const {
    auto result = QProcessEnvironment::systemEnvironment();
    result.insert(m_clientVariables);
    result.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress());
    result.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    result.insert(QStringLiteral("XDG_CURRENT_DESKTOP"),
                  m_environment.value(QStringLiteral("XDG_CURRENT_DESKTOP")));
    return result;
}

void PrivateCompositor::useInThisProcess() const {
    const auto variables = clientEnvironment();
    for (const auto& name : variables.keys()) {
        qputenv(name.toLocal8Bit().constData(), variables.value(name).toLocal8Bit());
    }
}

QStringList PrivateCompositor::relay() const {
    return asUser(
        {QStringLiteral("socat"), QStringLiteral("STDIO"),
         QStringLiteral("UNIX-CONNECT:") + m_clientVariables.value(QStringLiteral("WAYLAND_DISPLAY"))});
}

QString PrivateCompositor::runInside(const QString& program, const QStringList& arguments) const {
    const auto command = asUser(QStringList{program} + arguments);
    return run(command.first(), command.mid(1), m_environment);
}

QString PrivateCompositor::runClient(const QString& program, const QStringList& arguments) const {
    return run(program, arguments, clientEnvironment());
}

QString PrivateCompositor::run(const QString& program, const QStringList& arguments,
                               const QProcessEnvironment& environment) const {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(startTimeout) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        refuse(QStringLiteral("%1 %2: %3 %4")
                   .arg(program, arguments.join(u' '), process.errorString(),
                        QString::fromUtf8(process.readAllStandardError())));
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}
