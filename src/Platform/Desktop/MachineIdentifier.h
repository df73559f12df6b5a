#pragma once

#include <QString>

#include <optional>

namespace platform {

// Returns an identifier of this machine for the program that `applicationUuid` (32 hexadecimal digits) names,
// as canonical lower-case UUID text. It is stable across restarts and made by systemd's keyed hash, which
// does not reveal the machine's own id. Returns nullopt if the machine has no id.
std::optional<QString> machineIdentifier(const char* applicationUuid);

} // namespace platform
