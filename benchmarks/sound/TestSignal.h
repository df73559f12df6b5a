#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

// A vowel of 140 Hz with a syllable's rise and fall four times a second, at 48,000 Hz.
inline std::vector<float> voiceLikeSignal(size_t samples) {
    constexpr float turn = 6.2831853F;
    std::vector<float> signal(samples);
    for (size_t i = 0; i < samples; ++i) {
        const float seconds = static_cast<float>(i) / 48000.0F;
        const float pitch = turn * 140.0F * seconds;
        const float envelope = 0.5F + 0.5F * std::sin(turn * 4.0F * seconds);
        signal[i] = 0.2F * envelope *
                    (std::sin(pitch) + 0.5F * std::sin(5.0F * pitch) + 0.2F * std::sin(17.0F * pitch));
    }
    return signal;
}
