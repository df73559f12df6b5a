#include "MachineIdentifier.h"
