#include "App/MachineId.h"

#include "Platform/Desktop/MachineIdentifier.h"

#include <QUuid>

namespace corvane {

namespace {

constexpr auto fallbackKey = "machine_id";
// Identifies this program in the keyed hash.
constexpr auto applicationUuid = "5b0c9d6e3f2a4e71a8c4d1f09e7b6a35";

} // namespace

QString loadMachineId(platform::DefaultsStore& defaults) {
    return loadMachineId(defaults, platform::machineIdentifier(applicationUuid));
}

QString loadMachineId(platform::DefaultsStore& defaults, const std::optional<QString>& systemId) {
    // A stored random id stays in use even if the machine has an id of its own by now: the backend knows the
    // old one.
    const auto kept = defaults.string(QLatin1String(fallbackKey));
    if (kept && !kept->isEmpty()) {
        return *kept;
    }
    if (systemId) {
        return *systemId;
    }
    const auto made = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    defaults.setString(QLatin1String(fallbackKey), made);
    return made;
}

} // namespace corvane
