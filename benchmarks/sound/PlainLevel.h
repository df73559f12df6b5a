#pragma once

#include "SignalLevel.h"

// The level by one loop over squares and peak.
SignalLevel plainLevel(std::span<const float> samples);
