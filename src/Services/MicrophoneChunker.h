#pragma once

#include "Utilities/WAVEncoder.h"

#include <functional>
#include <span>
#include <vector>

namespace corvane {

// Cuts mono samples into WAV files of 80 ms. Not thread-safe.
class MicrophoneChunker {
public:
    MicrophoneChunker(uint32_t sampleRate, std::function<void(const QByteArray& wav)> emitChunk);

    // Emits the pending samples at the old rate as a shorter file, so that no file mixes rates. Returns the
    // number of files emitted.
    int setSampleRate(uint32_t sampleRate);
    // Emits as many whole chunks as there are. Returns the number of files emitted.
    int append(std::span<const float> samples);

    uint32_t sampleRate() const { return m_micSampleRate; } // Hz

private:
    void emitFile(std::span<const float> samples);

    uint32_t m_micSampleRate;
    size_t m_micChunkSamples;
    std::vector<float> m_micAccum; // always less than a chunk
    std::function<void(const QByteArray& wav)> m_emitChunk;
    WAVEncoder m_wavEncoder;
};

// Returns the number of samples in 80 ms, rounded down.
constexpr size_t chunkLength(uint32_t sampleRate) {
    return static_cast<size_t>(sampleRate) * 80 / 1000;
}

} // namespace corvane
