#include "ClerkClient.h"
