#pragma once

#include <QString>

#include <optional>

namespace platform {

// An identifier of this machine for this program: stable across restarts, derived by systemd's keyed hash so
// that the raw machine id is not given away. Canonical lower-case UUID text. Nothing when the machine has no
// id.
std::optional<QString> machineIdentifier();

} // namespace platform
