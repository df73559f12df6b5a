#include "SystemAccess.h"
