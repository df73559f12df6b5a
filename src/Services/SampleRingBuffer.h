#pragma once

#include <cstddef>
#include <mutex>
#include <span>
#include <vector>

namespace corvane {

// Keeps the newest samples of a stream until they are drained. Thread-safe; the lock is held only to copy.
class SampleRingBuffer {
public:
    explicit SampleRingBuffer(size_t capacity);

    // Drops the oldest samples when the capacity is exceeded.
    void append(std::span<const float> samples);
    // Replaces the content of `samples` with the oldest ones, at most `count` of them, and removes them here.
    void drain(size_t count, std::vector<float>& samples);
    size_t size() const;
    void clear();

private:
    mutable std::mutex m_ringBufferLock;
    std::vector<float> m_samples;
    size_t m_start = 0; // index of the oldest
    size_t m_size = 0;
};

} // namespace corvane
