#include "KeychainService.h"
