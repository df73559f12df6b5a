// Reads the sound file in an audio frame, byte by byte, without trusting any of it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace sandbox {

struct WavContent {
    std::uint32_t sampleRate = 0;
    std::vector<std::int16_t> samples;
    // Empty if every field of the header is valid: canonical RIFF of 44 bytes, PCM, one channel, 16 bits, and
    // sizes that match the length of the file.
    std::string fault;
};

WavContent readWav(std::span<const std::uint8_t> file);

} // namespace sandbox
