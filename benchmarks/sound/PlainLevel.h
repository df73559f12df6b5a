#pragma once

#include "Utilities/SignalLevel.h"

namespace corvane {

// Computes the level with a single loop over squares and peak.
SignalLevel plainLevel(std::span<const float> samples);

} // namespace corvane
