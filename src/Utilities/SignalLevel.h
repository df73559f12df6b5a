#pragma once

#include <cstddef>
#include <span>

namespace corvane {

// The level of a block of samples, in 32-bit float arithmetic.
struct SignalLevel {
    float rms = 0;  // square root of the mean of the squares
    float peak = 0; // largest magnitude
};

// Returns the level of the samples; zero if there are none. The sum is pairwise: for a power of two of equal
// samples the RMS is exactly their magnitude. Any thread.
SignalLevel signalLevel(std::span<const float> samples);

using SignalLevelKernel = SignalLevel (*)(const float* samples, size_t count);
// Returns all implementations that this processor can run, starting with the one in use. They agree up to the
// rounding of the sum.
std::span<const SignalLevelKernel> signalLevelKernels();

} // namespace corvane
