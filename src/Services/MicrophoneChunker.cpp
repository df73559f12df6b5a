#include "Services/MicrophoneChunker.h"

#include <algorithm>

namespace corvane {

MicrophoneChunker::MicrophoneChunker(uint32_t sampleRate,
                                     std::function<void(const QByteArray& wav)> emitChunk)
    : m_micSampleRate(sampleRate)
    , m_micChunkSamples(std::max<size_t>(chunkLength(sampleRate), 1))
    , m_emitChunk(std::move(emitChunk)) {
    m_micAccum.reserve(m_micChunkSamples);
}

int MicrophoneChunker::setSampleRate(uint32_t sampleRate) {
    int files = 0;
    if (!m_micAccum.empty()) {
        emitFile(m_micAccum);
        m_micAccum.clear();
        files = 1;
    }
    m_micSampleRate = sampleRate;
    m_micChunkSamples = std::max<size_t>(chunkLength(sampleRate), 1);
    m_micAccum.reserve(m_micChunkSamples);
    return files;
}

int MicrophoneChunker::append(std::span<const float> samples) {
    int files = 0;
    if (!m_micAccum.empty()) {
        const auto head = samples.first(std::min(samples.size(), m_micChunkSamples - m_micAccum.size()));
        m_micAccum.insert(m_micAccum.end(), head.begin(), head.end());
        samples = samples.subspan(head.size());
        if (m_micAccum.size() < m_micChunkSamples) {
            return 0;
        }
        emitFile(m_micAccum);
        m_micAccum.clear();
        ++files;
    }
    while (samples.size() >= m_micChunkSamples) {
        emitFile(samples.first(m_micChunkSamples));
        samples = samples.subspan(m_micChunkSamples);
        ++files;
    }
    m_micAccum.assign(samples.begin(), samples.end());
    return files;
}

void MicrophoneChunker::emitFile(std::span<const float> samples) {
    m_emitChunk(m_wavEncoder.encode(samples, m_micSampleRate, 1));
}

} // namespace corvane
