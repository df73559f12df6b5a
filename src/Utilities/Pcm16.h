#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

// Converts float samples to signed 16-bit PCM, little-endian. Full scale is 1.0; samples are clipped to 32767
// and -32767 and truncated toward zero, and NaN becomes 32767. Any thread.
namespace pcm16 {

// Writes two bytes for each sample to `out`, which needs no alignment.
void convert(std::span<const float> samples, std::byte* out);

using Kernel = void (*)(const float* samples, size_t count, std::byte* out);
// Returns all implementations of the conversion that this processor can run, starting with the one that
// convert() uses. They produce the same bytes.
std::span<const Kernel> kernels();

} // namespace pcm16

} // namespace corvane
