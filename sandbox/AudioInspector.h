// Statistics of a stream of received sound: length, level, and how often and how long somebody spoke.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace sandbox {

// Measures energy over windows of 20 ms: speech begins with three loud windows in a row and ends before 800
// ms of quiet.
class SpeechMeter {
public:
    void take(std::span<const std::int16_t> samples, std::uint32_t sampleRate);

    bool isSpeaking() const { return m_speaking; }
    int times() const { return m_times; }
    // Returns the seconds of speech, without the quiet after each utterance but with the quiet inside it.
    double seconds() const { return m_seconds; }
    double lastSeconds() const { return m_speaking ? m_seconds - m_secondsBefore : m_lastSeconds; }

private:
    void takeWindow(bool loud);

    double m_squares = 0;
    std::uint32_t m_inWindow = 0;
    int m_loudRun = 0;
    int m_quietRun = 0;
    bool m_speaking = false;
    int m_times = 0;
    double m_seconds = 0;
    double m_secondsBefore = 0;
    double m_lastSeconds = 0;
};

// One direction of an interview's sound.
class StreamStatistics {
public:
    // `file` is a frame without its stream byte. Returns false if it is not a valid sound file; `fault` then
    // says why, and only the frame itself is counted.
    bool take(std::span<const std::uint8_t> file, std::string& fault);

    std::uint64_t frames() const { return m_frames; }
    std::uint64_t badFrames() const { return m_badFrames; }
    std::uint64_t sampleCount() const { return m_sampleCount; }
    double seconds() const { return m_seconds; }
    std::uint32_t sampleRate() const { return m_sampleRate; }
    // Returns how often the rate differed from that of the previous frame.
    int rateChanges() const { return m_rateChanges; }
    // Returns the root mean square of all samples in dB below full scale; -120 for silence or no samples.
    double level() const;
    int peak() const { return m_peak; }
    const SpeechMeter& speech() const { return m_speech; }

    // Keeps every sample from now on.
    void keepSamples() { m_keeps = true; }
    const std::vector<std::int16_t>& samples() const { return m_samples; }

private:
    std::uint64_t m_frames = 0;
    std::uint64_t m_badFrames = 0;
    std::uint64_t m_sampleCount = 0;
    double m_seconds = 0;
    std::uint32_t m_sampleRate = 0;
    int m_rateChanges = 0;
    int m_peak = 0;
    double m_squares = 0;
    SpeechMeter m_speech;
    bool m_keeps = false;
    std::vector<std::int16_t> m_samples;
};

// Writes one channel of 16-bit samples to a file that only its owner can read. Throws std::runtime_error.
void writeWav(const std::filesystem::path& file, std::span<const std::int16_t> samples,
              std::uint32_t sampleRate);

} // namespace sandbox
