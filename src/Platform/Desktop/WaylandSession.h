#pragma once

#include <QtGlobal>

namespace platform {

// Whether the desktop is a Wayland one, where X11 reaches only what runs under XWayland.
inline bool isWaylandSession() {
    return qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

} // namespace platform
