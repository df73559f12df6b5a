#include "SampleRingBuffer.h"
