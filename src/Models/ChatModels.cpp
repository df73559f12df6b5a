#include "ChatModels.h"
