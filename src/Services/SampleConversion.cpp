#include "SampleConversion.h"
