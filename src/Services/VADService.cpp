#include "VADService.h"
