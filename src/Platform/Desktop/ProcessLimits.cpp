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
// Of the session; none while they are as they were.
std::optional<Limits> sessionLimits;

} // namespace

// A dump of the memory would put the tokens on disk. Only the soft limit: who looks for a fault raises it by
// prlimit. Not PR_SET_DUMPABLE: portals and the sound server look into /proc at who calls them, and would
// refuse.
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
    // Ends with this process without its destructor, which would end what still runs.
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
