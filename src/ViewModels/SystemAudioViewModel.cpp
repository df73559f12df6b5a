#include "SystemAudioViewModel.h"
