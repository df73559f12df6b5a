#include "MemorySecretStore.h"
