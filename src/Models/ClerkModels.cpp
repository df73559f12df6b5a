#include "ClerkModels.h"
