#include "WAVEncoder.h"
