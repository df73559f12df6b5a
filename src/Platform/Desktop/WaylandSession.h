#pragma once

#include <QtGlobal>

namespace platform {

// Returns whether this is a Wayland session, where X11 reaches only programs that run under XWayland.
inline bool isWaylandSession() {
    return qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

} // namespace platform
