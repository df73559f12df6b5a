#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

// Float samples to signed 16-bit PCM, little-endian: full scale is 1.0, clipped on both sides to 32767 and
// -32767, truncated toward zero; a NaN gives 32767. Any thread.
namespace pcm16 {

// Writes two bytes for each sample to `out`, which needs no alignment.
void convert(std::span<const float> samples, std::byte* out);

using Kernel = void (*)(const float* samples, size_t count, std::byte* out);
// All forms of the conversion that this processor can run, the one that convert() uses first. They give the
// same bytes.
std::span<const Kernel> kernels();

} // namespace pcm16

} // namespace corvane
