#include "WebSocketService.h"
