#pragma once

#include <QByteArray>

#include <cstdint>
#include <span>

namespace corvane {

// Encodes canonical RIFF files: 16-bit little-endian PCM with a header of 44 bytes. Stateless; any thread.
class WAVEncoder {
public:
    static constexpr qsizetype headerSize = 44; // bytes

    // Encodes interleaved samples with full scale from -1 to 1. They are clipped and truncated toward zero;
    // NaN becomes 32767.
    QByteArray encode(std::span<const float> samples, uint32_t sampleRate, uint16_t channels) const;
    // Returns a mono file with the stream's flag byte in front.
    QByteArray encodeWithFlag(std::span<const float> samples, uint32_t sampleRate, uint8_t flag) const;
};

} // namespace corvane
