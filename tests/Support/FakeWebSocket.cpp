#include "FakeWebSocket.h"
