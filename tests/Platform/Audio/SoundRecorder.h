#pragma once

#include "AudioHost.h"

#include <cmath>
#include <cstring>
#include <mutex>
#include <span>
#include <vector>

// Keeps what a stream delivers: the first channel as floats, and the format of the last buffer. Outlives the
// stream.
class SoundRecorder {
public:
    platform::AudioStreamHandlers handlers() {
        return {.buffer = [this](const platform::AudioBuffer& buffer) { take(buffer); },
                .stoppedWithError =
                    [this](const QString& text) {
                        ++stops;
                        reason = text;
                    }};
    }

    std::vector<float> samples() const {
        const std::lock_guard lock(m_mutex);
        return m_samples;
    }
    platform::AudioStreamDescription format() const {
        const std::lock_guard lock(m_mutex);
        return m_format;
    }
    // Samples of the first channel that are not silent.
    qsizetype heard() const {
        const std::lock_guard lock(m_mutex);
        return m_heard;
    }
    qsizetype count() const {
        const std::lock_guard lock(m_mutex);
        return static_cast<qsizetype>(m_samples.size());
    }
    void clear() {
        const std::lock_guard lock(m_mutex);
        m_samples.clear();
        m_heard = 0;
    }

    // Main thread.
    int stops = 0;
    QString reason;

private:
    void take(const platform::AudioBuffer& buffer) {
        const std::lock_guard lock(m_mutex);
        m_format = buffer.description.value();
        const auto width = m_format.bitsPerChannel / 8;
        for (size_t at = 0; at + width <= buffer.length; at += width * m_format.channelsPerFrame) {
            const auto sample = value(buffer.data + at);
            m_samples.push_back(sample);
            m_heard += std::abs(sample) > 1e-4F ? 1 : 0;
        }
    }

    float value(const std::byte* at) const {
        if (m_format.isFloat) {
            return read<float>(at);
        }
        return m_format.bitsPerChannel == 16 ? static_cast<float>(read<int16_t>(at)) / 0x1p15F
                                             : static_cast<float>(read<int32_t>(at)) / 0x1p31F;
    }

    template<typename T>
    static T read(const std::byte* at) {
        T result;
        std::memcpy(&result, at, sizeof result);
        return result;
    }

    mutable std::mutex m_mutex;
    std::vector<float> m_samples;
    qsizetype m_heard = 0;
    platform::AudioStreamDescription m_format;
};

inline double rms(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples) {
        sum += double(sample) * double(sample);
    }
    return std::sqrt(sum / double(samples.size()));
}
