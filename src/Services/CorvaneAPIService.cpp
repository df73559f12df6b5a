#include "CorvaneAPIService.h"
