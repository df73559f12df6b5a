#pragma once

#include "Platform/Audio/AudioHost.h"

#include <span>
#include <vector>

namespace corvane {

// Conversions of blocks of interleaved bytes to mono 32-bit float samples. The result may refer to the block
// itself or to `scratch`, which the caller keeps to save allocations, and is valid as long as both are.
namespace conversion {

// Converts system audio, which is always read as 32-bit floats. Returns an empty span when there are fewer
// floats than channels.
std::span<const float> systemSamples(std::span<const std::byte> block, uint32_t channels,
                                     std::vector<float>& scratch);

// Converts microphone audio: floats are unchanged, 32-bit integers are scaled by 2^-31 and 16-bit integers by
// 1/32767. Returns an empty span for other widths, for zero channels, and when there are fewer samples than
// channels.
std::span<const float> microphoneSamples(std::span<const std::byte> block,
                                         const platform::AudioStreamDescription& description,
                                         std::vector<float>& scratch);

} // namespace conversion

} // namespace corvane
