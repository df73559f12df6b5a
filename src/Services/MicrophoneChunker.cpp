#include "MicrophoneChunker.h"
