#include "ClerkConfig.h"
