#include "ClerkAuthService.h"
