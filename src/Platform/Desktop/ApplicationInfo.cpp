#include "ApplicationInfo.h"
