#pragma once

#include <cstddef>
#include <span>

namespace corvane {

// How loud a stretch of samples is, in 32-bit float arithmetic.
struct SignalLevel {
    float rms = 0;  // square root of the mean of the squares
    float peak = 0; // largest magnitude
};

// Zero for no samples. Sums pairwise: for a power of two of equal samples the RMS is exactly their magnitude.
// Any thread.
SignalLevel signalLevel(std::span<const float> samples);

using SignalLevelKernel = SignalLevel (*)(const float* samples, size_t count);
// All forms of the measurement that this processor can run, the one in use first. They agree up to the
// rounding of the sum.
std::span<const SignalLevelKernel> signalLevelKernels();

} // namespace corvane
