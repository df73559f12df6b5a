// Reads the sound file in an audio frame, byte by byte, trusting nothing.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace sandbox {

struct WavContent {
    std::uint32_t sampleRate = 0;
    std::vector<std::int16_t> samples;
    // Empty when every field of the header is as it must be: canonical RIFF of 44 bytes, PCM, one channel,
    // 16 bits, sizes that agree with the length of the file.
    std::string fault;
};

WavContent readWav(std::span<const std::uint8_t> file);

} // namespace sandbox
