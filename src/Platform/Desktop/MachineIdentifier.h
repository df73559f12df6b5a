#pragma once

#include <QString>

#include <optional>

namespace platform {

// An identifier of this machine for the program that `applicationUuid` names (32 hexadecimal digits): stable
// across restarts, and made by systemd's keyed hash, so that the machine's own id is not given away.
// Canonical lower-case UUID text. Nothing when the machine has no id.
std::optional<QString> machineIdentifier(const char* applicationUuid);

} // namespace platform
