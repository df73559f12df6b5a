#pragma once

#include "Models/AudioModels.h"
#include "Platform/Core/Clock.h"
#include "Utilities/WAVEncoder.h"

#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace corvane {

// An energy detector on fixed hops of mono samples. It marks the onset and the end of speech and cuts out
// utterances. Not thread-safe: the callbacks are called from within processSamples(), on its thread.
class VADService {
public:
    // `sampleRate`, in Hz, is only written to the headers of the files: the thresholds count hops.
    VADService(VadConfig config, uint32_t sampleRate, const platform::Clock& clock);

    // The callbacks are set before the first samples. Without onSpeechDetected no audio is kept.
    std::function<void(const QByteArray& wav)>
        onSpeechDetected;                // a segment that counts, directly after its end
    std::function<void()> onSpeechStart; // at the onset, before it is known whether the segment will count
    std::function<void()> onSpeechEnd;   // only for a segment that counts

    // Takes any number of samples with a full scale of -1 to 1.
    void processSamples(std::span<const float> samples);

    bool isSpeaking() const { return m_isSpeaking; }
    // Returns the number of samples that are waiting for the rest of their hop.
    size_t pendingCount() const { return m_pendingSamples.size(); }
    // Returns the number of samples of a segment for which memory is allocated.
    size_t segmentCapacity() const { return m_speechBuffer.capacity(); }

private:
    using Hop = std::span<const float>;

    // The latest hops before the onset, at most `preSpeechChunks`, in a circular buffer.
    class PreSpeechBuffer {
    public:
        PreSpeechBuffer(size_t hops, size_t hopSize);
        void append(Hop hop);
        void appendTo(std::vector<float>& samples) const; // oldest first
        void clear();

    private:
        std::vector<float> m_samples;
        size_t m_hopSize;
        size_t m_capacity;  // hops
        size_t m_next = 0;  // where the next hop goes
        size_t m_count = 0; // hops
    };

    void processHop(Hop hop);
    void handleSpeech(Hop hop);
    void handleSilence(Hop hop);
    void finalizeSpeech();
    void keep(Hop hop);
    bool isTooLong() const;

    const VadConfig m_config;
    const size_t m_hopSize;
    const uint32_t m_sampleRate; // Hz
    const platform::Clock& m_clock;
    WAVEncoder m_wavEncoder;
    bool m_isSpeaking = false;
    int m_speechChunks = 0;
    int m_silenceCounter = 0;
    PreSpeechBuffer m_preSpeechBuffer;
    std::vector<float> m_speechBuffer;
    std::optional<platform::WallTime> m_recordingStartTime;
    std::vector<float> m_pendingSamples; // always less than a hop
};

} // namespace corvane
