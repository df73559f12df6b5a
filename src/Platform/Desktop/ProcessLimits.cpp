#include "Platform/Desktop/ProcessLimits.h"

#include <optional>

#include <sys/resource.h>
#include <sys/stat.h>

namespace platform {

namespace {

struct Limits {
    mode_t mask = 0;
    rlimit core{};
};
// Of the session; none while they are as they were.
std::optional<Limits> usersLimits;

} // namespace

// A dump of the memory would put the tokens on disk. Only the soft limit: who looks for a fault raises it by
// prlimit. Not PR_SET_DUMPABLE: portals and the sound server look into /proc at who calls them, and would
// refuse.
void keepToOurselves() {
    Limits limits;
    limits.mask = umask(S_IRWXG | S_IRWXO);
    if (getrlimit(RLIMIT_CORE, &limits.core) == 0) {
        const rlimit none{0, limits.core.rlim_max};
        setrlimit(RLIMIT_CORE, &none);
        usersLimits = limits;
    }
}

void leaveToTheUser() {
    if (usersLimits) {
        umask(usersLimits->mask);
        setrlimit(RLIMIT_CORE, &usersLimits->core);
    }
}

} // namespace platform
