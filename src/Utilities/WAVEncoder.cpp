#include "Utilities/WAVEncoder.h"

#include "Utilities/Pcm16.h"

#include <QtEndian>

#include <cstring>

namespace corvane {

namespace {

constexpr uint32_t bytesPerSample = 2;

char* putTag(char* out, const char (&tag)[5]) {
    std::memcpy(out, tag, 4);
    return out + 4;
}

template<typename Integer>
char* put(char* out, Integer value) {
    qToLittleEndian(value, out);
    return out + sizeof value;
}

// http://soundfile.sapp.org/doc/WaveFormat/
void putFile(char* out, std::span<const float> samples, uint32_t sampleRate, uint16_t channels) {
    const auto dataSize = static_cast<uint32_t>(samples.size()) * bytesPerSample;
    out = putTag(out, "RIFF");
    out = put<uint32_t>(out, static_cast<uint32_t>(WAVEncoder::headerSize) - 8 + dataSize);
    out = putTag(out, "WAVE");
    out = putTag(out, "fmt ");
    out = put<uint32_t>(out, 16);
    out = put<uint16_t>(out, 1); // PCM
    out = put<uint16_t>(out, channels);
    out = put<uint32_t>(out, sampleRate);
    out = put<uint32_t>(out, sampleRate * channels * bytesPerSample);
    out = put<uint16_t>(out, static_cast<uint16_t>(channels * bytesPerSample));
    out = put<uint16_t>(out, 8 * bytesPerSample);
    out = putTag(out, "data");
    out = put<uint32_t>(out, dataSize);
    pcm16::convert(samples, reinterpret_cast<std::byte*>(out));
}

qsizetype fileSize(std::span<const float> samples) {
    return WAVEncoder::headerSize + static_cast<qsizetype>(samples.size_bytes() / 2);
}

} // namespace

QByteArray WAVEncoder::encode(std::span<const float> samples, uint32_t sampleRate, uint16_t channels) const {
    QByteArray file(fileSize(samples), Qt::Uninitialized);
    putFile(file.data(), samples, sampleRate, channels);
    return file;
}

QByteArray WAVEncoder::encodeWithFlag(std::span<const float> samples, uint32_t sampleRate,
                                      uint8_t flag) const {
    QByteArray frame(1 + fileSize(samples), Qt::Uninitialized);
    frame.data()[0] = static_cast<char>(flag);
    putFile(frame.data() + 1, samples, sampleRate, 1);
    return frame;
}

} // namespace corvane
