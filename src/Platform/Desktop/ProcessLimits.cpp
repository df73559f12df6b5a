#include "Platform/Desktop/ProcessLimits.h"

#include <QProcess>

#include <optional>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

struct Limits {
    mode_t mask = 0;
    rlimit core{};
};
// The limits that the session gave this process; empty while they are unchanged.
std::optional<Limits> sessionLimits;

} // namespace

// A core dump would put the tokens on disk. Only the soft limit is lowered, so that a developer can raise it
// with prlimit. PR_SET_DUMPABLE is not used: portals and the sound server look into /proc to identify their
// callers, and would refuse this process.
void restrictProcess() {
    Limits limits;
    limits.mask = umask(S_IRWXG | S_IRWXO);
    if (getrlimit(RLIMIT_CORE, &limits.core) == 0) {
        const rlimit none{0, limits.core.rlim_max};
        setrlimit(RLIMIT_CORE, &none);
        sessionLimits = limits;
    }
}

void restoreSessionLimits() {
    if (sessionLimits) {
        umask(sessionLimits->mask);
        setrlimit(RLIMIT_CORE, &sessionLimits->core);
    }
}

bool startUserProgram(const QString& program, const QStringList& arguments) {
    // Never destroyed, because its destructor would end the programs that are still running.
    static auto* const started = new QObject;
    auto* process = new QProcess(started);
    process->setStandardInputFile(QProcess::nullDevice());
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    process->setChildProcessModifier([] {
        ::setsid();
        restoreSessionLimits();
    });
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    process->start(program, arguments);
    if (!process->waitForStarted()) {
        delete process;
        return false;
    }
    return true;
}

} // namespace platform
