#include "JWT.h"
