#include "Services/VADService.h"

#include "Utilities/SignalLevel.h"

#include <algorithm>

namespace corvane {

VADService::PreSpeechBuffer::PreSpeechBuffer(size_t hops, size_t hopSize)
    : m_hopSize(hopSize)
    , m_capacity(hops) {}

void VADService::PreSpeechBuffer::append(Hop hop) {
    if (m_capacity == 0) {
        return;
    }
    m_samples.resize(m_capacity * m_hopSize);
    std::ranges::copy(hop, m_samples.begin() + static_cast<std::ptrdiff_t>(m_next * m_hopSize));
    m_next = (m_next + 1) % m_capacity;
    m_count = std::min(m_count + 1, m_capacity);
}

void VADService::PreSpeechBuffer::appendTo(std::vector<float>& samples) const {
    for (size_t i = 0; i < m_count; ++i) {
        const auto index = (m_next + m_capacity - m_count + i) % m_capacity;
        const auto hop = Hop(m_samples).subspan(index * m_hopSize, m_hopSize);
        samples.insert(samples.end(), hop.begin(), hop.end());
    }
}

void VADService::PreSpeechBuffer::clear() {
    m_next = 0;
    m_count = 0;
}

VADService::VADService(VadConfig config, uint32_t sampleRate, const platform::Clock& clock)
    : m_config(config)
    , m_hopSize(static_cast<size_t>(std::max(config.hopSize, 1)))
    , m_sampleRate(sampleRate)
    , m_clock(clock)
    , m_preSpeechBuffer(static_cast<size_t>(std::max(config.preSpeechChunks, 0)), m_hopSize) {
    m_pendingSamples.reserve(m_hopSize);
}

void VADService::processSamples(std::span<const float> samples) {
    if (!m_config.enabled) {
        return;
    }
    if (!m_pendingSamples.empty()) {
        const auto head = samples.first(std::min(samples.size(), m_hopSize - m_pendingSamples.size()));
        m_pendingSamples.insert(m_pendingSamples.end(), head.begin(), head.end());
        samples = samples.subspan(head.size());
        if (m_pendingSamples.size() < m_hopSize) {
            return;
        }
        processHop(m_pendingSamples);
        m_pendingSamples.clear();
    }
    while (samples.size() >= m_hopSize) {
        processHop(samples.first(m_hopSize));
        samples = samples.subspan(m_hopSize);
    }
    m_pendingSamples.assign(samples.begin(), samples.end());
}

void VADService::processHop(Hop hop) {
    const auto [rms, peak] = signalLevel(hop);
    if (rms < m_config.noiseGateThreshold) {
        handleSilence(hop);
        return;
    }
    if (rms >= m_config.sensitivityRMS || peak >= m_config.peakThreshold) {
        handleSpeech(hop);
    } else {
        handleSilence(hop);
    }
    if (isTooLong()) {
        finalizeSpeech();
    }
}

void VADService::handleSpeech(Hop hop) {
    if (!m_isSpeaking) {
        m_isSpeaking = true;
        if (onSpeechStart) {
            onSpeechStart();
        }
        m_speechChunks = 0;
        m_recordingStartTime = m_clock.now();
        m_speechBuffer.clear();
        m_preSpeechBuffer.appendTo(m_speechBuffer);
    }
    ++m_speechChunks;
    m_silenceCounter = 0;
    keep(hop);
}

void VADService::handleSilence(Hop hop) {
    if (!m_isSpeaking) {
        if (onSpeechDetected) {
            m_preSpeechBuffer.append(hop);
        }
        return;
    }
    ++m_silenceCounter;
    keep(hop);
    if (m_silenceCounter >= m_config.silenceChunks) {
        finalizeSpeech();
    }
}

void VADService::keep(Hop hop) {
    if (onSpeechDetected) {
        m_speechBuffer.insert(m_speechBuffer.end(), hop.begin(), hop.end());
    }
}

bool VADService::isTooLong() const {
    return m_recordingStartTime &&
           m_clock.now() - *m_recordingStartTime >= std::chrono::seconds(m_config.maxRecordingDurationSecs);
}

void VADService::finalizeSpeech() {
    if (m_speechChunks >= m_config.minSpeechChunks) {
        if (onSpeechEnd) {
            onSpeechEnd();
        }
        if (onSpeechDetected) {
            onSpeechDetected(m_wavEncoder.encode(m_speechBuffer, m_sampleRate, 1));
        }
    }
    m_isSpeaking = false;
    m_speechChunks = 0;
    m_silenceCounter = 0;
    // A swap frees the memory, which an assignment would keep: a segment of minutes must not reserve memory
    // for the next one of seconds.
    std::vector<float>().swap(m_speechBuffer);
    m_preSpeechBuffer.clear();
    m_recordingStartTime.reset();
}

} // namespace corvane
