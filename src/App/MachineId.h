#pragma once

#include "Platform/Storage/DefaultsStore.h"

#include <QString>

namespace corvane {

// The id under which the backend knows this machine: the system's, derived for this program, or on a machine
// without one a random id, made once and kept. One string for the life of the installation.
QString machineIdOf(platform::DefaultsStore& defaults);
// For tests: with the system's id given.
QString machineIdOf(platform::DefaultsStore& defaults, const std::optional<QString>& systemId);

} // namespace corvane
