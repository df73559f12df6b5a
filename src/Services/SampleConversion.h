#pragma once

#include "Platform/Audio/AudioHost.h"

#include <span>
#include <vector>

namespace corvane {

// From blocks of interleaved bytes to mono 32-bit float samples. A result may look into the block itself or
// into `scratch`, which is kept from call to call to save allocations: it is valid as long as both.
namespace conversion {

// System audio: always read as 32-bit floats. Fewer floats than channels give nothing.
std::span<const float> systemSamples(std::span<const std::byte> block, uint32_t channels,
                                     std::vector<float>& scratch);

// Microphone: floats unchanged, 32-bit integers by 2^-31, 16-bit integers by 1/32767. Nothing for other
// widths, for zero channels, and for fewer samples than channels.
std::span<const float> microphoneSamples(std::span<const std::byte> block,
                                         const platform::AudioStreamDescription& description,
                                         std::vector<float>& scratch);

} // namespace conversion

} // namespace corvane
