#include "SessionApplication.h"
