#include "Services/SampleConversion.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace corvane {

namespace conversion {

namespace {

float toFloat(float value) {
    return value;
}

float toFloat(int32_t value) {
    return static_cast<float>(value) * 0x1p-31F;
}

float toFloat(int16_t value) {
    constexpr auto scale = 3.0518509e-05F;
    static_assert(std::bit_cast<uint32_t>(scale) == 0x38000100);
    return static_cast<float>(value) * scale;
}

// The block may start at any address, so the sample is copied.
template<typename Sample>
float sampleAt(std::span<const std::byte> block, size_t index) {
    Sample value;
    std::memcpy(&value, block.data() + index * sizeof value, sizeof value);
    return toFloat(value);
}

template<typename Sample>
std::span<const float> toMono(std::span<const std::byte> block, size_t channels,
                              std::vector<float>& scratch) {
    const auto frames = block.size() / sizeof(Sample) / channels;
    scratch.resize(frames);
    if (channels == 1) {
        for (size_t i = 0; i < frames; ++i) {
            scratch[i] = sampleAt<Sample>(block, i);
        }
        return scratch;
    }
    const auto divisor = static_cast<float>(channels);
    for (size_t i = 0; i < frames; ++i) {
        float sum = 0;
        for (size_t channel = 0; channel < channels; ++channel) {
            sum += sampleAt<Sample>(block, i * channels + channel);
        }
        scratch[i] = sum / divisor;
    }
    return scratch;
}

std::span<const float> floatsToMono(std::span<const std::byte> block, size_t channels,
                                    std::vector<float>& scratch) {
    const bool isAligned = std::bit_cast<uintptr_t>(block.data()) % alignof(float) == 0;
    if (channels == 1 && isAligned) {
        return {reinterpret_cast<const float*>(block.data()), block.size() / sizeof(float)};
    }
    return toMono<float>(block, channels, scratch);
}

} // namespace

std::span<const float> systemSamples(std::span<const std::byte> block, uint32_t channels,
                                     std::vector<float>& scratch) {
    return floatsToMono(block, std::max(channels, 1U), scratch);
}

std::span<const float> microphoneSamples(std::span<const std::byte> block,
                                         const platform::AudioStreamDescription& description,
                                         std::vector<float>& scratch) {
    const auto channels = description.channelsPerFrame;
    if (channels == 0) {
        return {};
    }
    if (description.isFloat) {
        return floatsToMono(block, channels, scratch);
    }
    switch (description.bitsPerChannel) {
    case 32:
        return toMono<int32_t>(block, channels, scratch);
    case 16:
        return toMono<int16_t>(block, channels, scratch);
    default:
        return {};
    }
}

} // namespace conversion

} // namespace corvane
