#include "AudioCaptureService.h"
