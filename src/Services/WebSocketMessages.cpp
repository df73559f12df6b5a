#include "WebSocketMessages.h"
