#include "AudioModels.h"
