#pragma once

#include "Utilities/SignalLevel.h"

namespace corvane {

// The level by one loop over squares and peak.
SignalLevel plainLevel(std::span<const float> samples);

} // namespace corvane
