#include "DatabaseService.h"
