#pragma once

#include "Platform/Network/WebSocketTask.h"

namespace platform {

// Returns the health of a connected TCP socket. Any thread that keeps the descriptor open meanwhile.
ConnectionHealth socketHealth(int descriptor);

} // namespace platform
