#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Services/SampleRingBuffer.h"
#include "Services/VADService.h"

#include <atomic>
#include <mutex>

namespace corvane {

// What happens to the buffers of one system capture: down-mix, ring buffer, detector, and the chunks that a
// timer takes out. One object for each capture, so that a buffer that is late finds its own end, not the next
// start.
class SystemAudioPipeline {
public:
    // Called on the stream's thread, except `chunk`.
    struct Events {
        std::function<void(const QByteArray& wav)> utterance; // mode vad
        std::function<void()> speechStarted;
        std::function<void(qint64 at)> speechStopped;     // ms since the Unix epoch
        std::function<void(const QByteArray& wav)> chunk; // mode rawStreaming, on the thread of drain()
    };

    // `sampleRate` in Hz, of every buffer of this capture.
    SystemAudioPipeline(AudioCaptureMode mode, VadConfig vadConfig, uint32_t sampleRate,
                        const platform::Clock& clock, Events events);

    // On the stream's thread, one buffer at a time.
    void handle(const platform::AudioBuffer& buffer);
    // Takes the samples of 80 ms, or what there is, and emits them.
    void drain();
    // From now on buffers and drains do nothing, and no event comes: waits for a buffer that is being handled
    // on another thread.
    void stop();

private:
    void logFrame(std::span<const float> mono, size_t floats, uint32_t channels) const;

    const AudioCaptureMode m_captureMode;
    const uint32_t m_sampleRate;
    const size_t m_drainSize;
    Events m_events;
    // Held while a buffer is handled. A stream that is still being opened has no owner yet that waits for its
    // handler.
    std::recursive_mutex m_handling;
    std::atomic<bool> m_stopFlag = false;
    VADService m_vadService;
    SampleRingBuffer m_ringBuffer;
    std::vector<float> m_continuousBuffer; // mode continuous, which nothing starts and nothing reads
    std::vector<float> m_mono;
    std::vector<float> m_drained;
    WAVEncoder m_wavEncoder;
    int m_sckAudioFrameCount = 0;
};

} // namespace corvane
