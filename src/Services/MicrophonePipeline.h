#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Services/MicrophoneChunker.h"

#include <atomic>
#include <functional>
#include <mutex>

namespace corvane {

// Processes the buffers of one microphone capture: converts them from the device's own format to mono and
// cuts them into chunks of 80 ms. There is one object for each capture.
class MicrophonePipeline {
public:
    // Called on the stream's thread.
    struct Events {
        std::function<void(const QByteArray& wav)> chunk;
        std::function<void(uint32_t sampleRate)> rateChanged;
    };

    // `lastSampleRate` is the rate that was last seen, in Hz. A different rate is reported by rateChanged.
    MicrophonePipeline(uint32_t lastSampleRate, Events events);

    // Called on the stream's thread, one buffer at a time.
    void handle(const platform::AudioBuffer& buffer);
    // Makes further buffers do nothing, so that no event follows. Waits for a buffer that another thread is
    // handling.
    void stop();

private:
    // Returns the number of files that the change flushed.
    int takeRate(const platform::AudioStreamDescription& description);
    void countChunks(int emitted, std::span<const float> mono) const;

    Events m_events;
    // Held while a buffer is handled: a stream that is still being opened has no owner yet that could wait
    // for its handler.
    std::recursive_mutex m_handling;
    std::atomic<bool> m_micStopFlag = false;
    MicrophoneChunker m_chunker;
    std::vector<float> m_mono;
};

} // namespace corvane
