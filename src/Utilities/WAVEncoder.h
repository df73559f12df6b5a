#pragma once

#include <QByteArray>

#include <cstdint>
#include <span>

namespace corvane {

// Makes canonical RIFF files: PCM, 16 bits, little-endian, 44 bytes of header. Stateless; any thread.
class WAVEncoder {
public:
    static constexpr qsizetype headerSize = 44; // bytes

    // `samples` interleaved, full scale -1 to 1, clipped; truncated toward zero; a NaN gives 32767.
    QByteArray encode(std::span<const float> samples, uint32_t sampleRate, uint16_t channels) const;
    // The stream's flag byte in front of a mono file.
    QByteArray encodeWithFlag(std::span<const float> samples, uint32_t sampleRate, uint8_t flag) const;
};

} // namespace corvane
