#pragma once

#include "Platform/Storage/DefaultsStore.h"

#include <QString>

namespace corvane {

// Returns the id under which the backend knows this machine. It is derived from the system's id, or, on a
// machine without one, generated at random and stored. It stays the same for the life of the installation.
QString loadMachineId(platform::DefaultsStore& defaults);
// For tests: takes the system's id as an argument.
QString loadMachineId(platform::DefaultsStore& defaults, const std::optional<QString>& systemId);

} // namespace corvane
