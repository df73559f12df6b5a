#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Services/SampleRingBuffer.h"
#include "Services/VADService.h"

#include <atomic>
#include <mutex>

namespace corvane {

// Processes the buffers of one system capture: down-mix, ring buffer, detector, and the chunks that a timer
// drains. There is one object for each capture, so that a late buffer meets the end of its own capture and
// not the start of the next.
class SystemAudioPipeline {
public:
    // Called on the stream's thread, except for `chunk`.
    struct Events {
        std::function<void(const QByteArray& wav)> utterance; // mode vad
        std::function<void()> speechStarted;
        std::function<void(qint64 at)> speechStopped;     // ms since the Unix epoch
        std::function<void(const QByteArray& wav)> chunk; // mode rawStreaming, on the thread of drain()
    };

    // `sampleRate` is the rate in Hz of every buffer of this capture.
    SystemAudioPipeline(AudioCaptureMode mode, VadConfig vadConfig, uint32_t sampleRate,
                        const platform::Clock& clock, Events events);

    // Called on the stream's thread, one buffer at a time.
    void handle(const platform::AudioBuffer& buffer);
    // Takes up to 80 ms of samples out of the ring buffer and emits them.
    void drain();
    // Makes further buffers and drains do nothing, so that no event follows. Waits for a buffer that another
    // thread is handling.
    void stop();

private:
    void logFrame(std::span<const float> mono, size_t floats, uint32_t channels) const;

    const AudioCaptureMode m_captureMode;
    const uint32_t m_sampleRate;
    const size_t m_drainSize;
    Events m_events;
    // Held while a buffer is handled: a stream that is still being opened has no owner yet that could wait
    // for its handler.
    std::recursive_mutex m_handling;
    std::atomic<bool> m_stopFlag = false;
    VADService m_vadService;
    SampleRingBuffer m_ringBuffer;
    std::vector<float> m_continuousBuffer; // of mode continuous, which the program never starts
    std::vector<float> m_mono;
    std::vector<float> m_drained;
    WAVEncoder m_wavEncoder;
    int m_sckAudioFrameCount = 0;
};

} // namespace corvane
