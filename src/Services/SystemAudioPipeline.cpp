#include "Services/SystemAudioPipeline.h"

#include "Platform/Core/Log.h"
#include "Services/MicrophoneChunker.h"
#include "Services/SampleConversion.h"
#include "Utilities/SignalLevel.h"

namespace corvane {

namespace {

// 2^17 samples: 2.73 s at 48,000 Hz.
constexpr size_t ringBufferCapacity = 131072;

} // namespace

SystemAudioPipeline::SystemAudioPipeline(AudioCaptureMode mode, VadConfig vadConfig, uint32_t sampleRate,
                                         const platform::Clock& clock, Events events)
    : m_captureMode(mode)
    , m_sampleRate(sampleRate)
    , m_drainSize(chunkLength(sampleRate))
    , m_events(std::move(events))
    , m_vadService(vadConfig, sampleRate, clock)
    , m_ringBuffer(ringBufferCapacity) {
    m_vadService.onSpeechStart = [this] { m_events.speechStarted(); };
    m_vadService.onSpeechEnd = [this, &clock] { m_events.speechStopped(clock.nowMilliseconds()); };
    if (mode == AudioCaptureMode::vad) {
        m_vadService.onSpeechDetected = m_events.utterance;
    }
}

void SystemAudioPipeline::handle(const platform::AudioBuffer& buffer) {
    const std::lock_guard lock(m_handling);
    if (buffer.type != platform::AudioBuffer::Type::audio || m_stopFlag) {
        return;
    }
    if (!buffer.hasFormat || !buffer.description || !buffer.data || buffer.length < 1) {
        return;
    }
    const auto channels = buffer.description->channelsPerFrame;
    const auto mono = conversion::systemSamples({buffer.data, buffer.length}, channels, m_mono);
    ++m_sckAudioFrameCount;
    if (m_sckAudioFrameCount < 6 || m_sckAudioFrameCount % 500 == 0) {
        logFrame(mono, buffer.length / sizeof(float), channels);
    }
    m_ringBuffer.append(mono);
    if (m_captureMode == AudioCaptureMode::continuous) {
        m_continuousBuffer.insert(m_continuousBuffer.end(), mono.begin(), mono.end());
        return;
    }
    m_vadService.processSamples(mono);
}

void SystemAudioPipeline::logFrame(std::span<const float> mono, size_t floats, uint32_t channels) const {
    platform::logLine(QString::asprintf(
        "[Audio] SCK frame #%d: %zu floats -> %zu mono samples, ch=%u, rms=%.6f, ringBuf=%zu",
        m_sckAudioFrameCount, floats, mono.size(), channels, static_cast<double>(signalLevel(mono).rms),
        m_ringBuffer.size()));
}

void SystemAudioPipeline::drain() {
    if (m_stopFlag) {
        return;
    }
    m_ringBuffer.drain(m_drainSize, m_drained);
    if (!m_drained.empty()) {
        m_events.chunk(m_wavEncoder.encode(m_drained, m_sampleRate, 1));
    }
}

void SystemAudioPipeline::stop() {
    m_stopFlag = true;
    const std::lock_guard lock(m_handling);
    m_ringBuffer.clear();
}

} // namespace corvane
