#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Services/MicrophoneChunker.h"

#include <atomic>
#include <functional>
#include <mutex>

namespace corvane {

// What happens to the buffers of one microphone capture: conversion from the device's own format to mono, and
// chunks of 80 ms. One object for each capture.
class MicrophonePipeline {
public:
    // Called on the stream's thread.
    struct Events {
        std::function<void(const QByteArray& wav)> chunk;
        std::function<void(uint32_t sampleRate)> rateChanged;
    };

    // `lastSampleRate`: the rate that was last seen, in Hz; another one is announced.
    MicrophonePipeline(uint32_t lastSampleRate, Events events);

    // On the stream's thread, one buffer at a time.
    void handle(const platform::AudioBuffer& buffer);
    // From now on buffers do nothing, and no event comes: waits for a buffer that is being handled on another
    // thread.
    void stop();

private:
    // The number of files that the change flushed.
    int takeRate(const platform::AudioStreamDescription& description);
    void countChunks(int emitted, std::span<const float> mono) const;

    Events m_events;
    // Held while a buffer is handled. A stream that is still being opened has no owner yet that waits for its
    // handler.
    std::recursive_mutex m_handling;
    std::atomic<bool> m_micStopFlag = false;
    MicrophoneChunker m_chunker;
    std::vector<float> m_mono;
};

} // namespace corvane
