#include "Platform/Desktop/MachineIdentifier.h"

#include <systemd/sd-id128.h>

namespace platform {

std::optional<QString> machineIdentifier(const char* applicationUuid) {
    sd_id128_t application;
    sd_id128_t machine;
    if (sd_id128_from_string(applicationUuid, &application) < 0 ||
        sd_id128_get_machine_app_specific(application, &machine) < 0) {
        return std::nullopt;
    }
    char text[SD_ID128_UUID_STRING_MAX];
    return QString::fromLatin1(sd_id128_to_uuid_string(machine, text));
}

} // namespace platform
