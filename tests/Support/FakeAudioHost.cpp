#include "FakeAudioHost.h"
