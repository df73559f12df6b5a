#include "sandbox/AudioInspector.h"

#include "sandbox/CertificateAuthority.h"
#include "sandbox/WavCheck.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace sandbox {

namespace {

constexpr double fullScale = 32767.0;
// -40 dB below full scale.
constexpr double loudLevel = 0.01;
constexpr std::uint32_t windowsPerSecond = 50;
constexpr int loudWindowsToBegin = 3;
constexpr int quietWindowsToEnd = 40;
constexpr double windowSeconds = 1.0 / windowsPerSecond;

} // namespace

void SpeechMeter::take(std::span<const std::int16_t> samples, std::uint32_t sampleRate) {
    const std::uint32_t windowSize = sampleRate / windowsPerSecond;
    for (const auto sample : samples) {
        m_squares += static_cast<double>(sample) * sample;
        if (++m_inWindow >= windowSize) {
            takeWindow(std::sqrt(m_squares / m_inWindow) >= loudLevel * fullScale);
            m_squares = 0;
            m_inWindow = 0;
        }
    }
}

void SpeechMeter::takeWindow(bool loud) {
    m_loudRun = loud ? m_loudRun + 1 : 0;
    if (!m_speaking && m_loudRun >= loudWindowsToBegin) {
        m_speaking = true;
        ++m_times;
        m_secondsBefore = m_seconds;
        m_seconds += (loudWindowsToBegin - 1) * windowSeconds;
        m_quietRun = 0;
    }
    if (!m_speaking) {
        return;
    }
    m_quietRun = loud ? 0 : m_quietRun + 1;
    m_seconds += windowSeconds;
    if (m_quietRun >= quietWindowsToEnd) {
        m_speaking = false;
        m_seconds -= m_quietRun * windowSeconds;
        m_lastSeconds = m_seconds - m_secondsBefore;
    }
}

bool StreamStatistics::take(std::span<const std::uint8_t> file, std::string& fault) {
    ++m_frames;
    const WavContent content = readWav(file);
    fault = content.fault;
    const bool hasLowest =
        std::find(content.samples.begin(), content.samples.end(), INT16_MIN) != content.samples.end();
    if (fault.empty() && hasLowest) {
        fault = "a sample of -32768, which no encoder with a symmetric range writes";
    }
    if (!fault.empty()) {
        ++m_badFrames;
        return false;
    }
    m_rateChanges += m_sampleRate != 0 && m_sampleRate != content.sampleRate ? 1 : 0;
    m_sampleRate = content.sampleRate;
    m_sampleCount += content.samples.size();
    m_seconds += static_cast<double>(content.samples.size()) / content.sampleRate;
    for (const auto sample : content.samples) {
        m_peak = std::max(m_peak, std::abs(static_cast<int>(sample)));
        m_squares += static_cast<double>(sample) * sample;
    }
    m_speech.take(content.samples, content.sampleRate);
    if (m_keeps) {
        m_samples.insert(m_samples.end(), content.samples.begin(), content.samples.end());
    }
    return true;
}

double StreamStatistics::level() const {
    if (m_squares <= 0) {
        return -120.0;
    }
    const double rms = std::sqrt(m_squares / static_cast<double>(m_sampleCount)) / fullScale;
    return std::max(-120.0, 20.0 * std::log10(rms));
}

void writeWav(const std::filesystem::path& file, std::span<const std::int16_t> samples,
              std::uint32_t sampleRate) {
    std::string bytes;
    const auto append = [&bytes](std::uint32_t value, int size) {
        for (int i = 0; i < size; ++i) {
            bytes += static_cast<char>((value >> (8 * i)) & 0xFF);
        }
    };
    const auto dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    bytes += "RIFF";
    append(36 + dataBytes, 4);
    bytes += "WAVEfmt ";
    append(16, 4);
    append(1, 2);
    append(1, 2);
    append(sampleRate, 4);
    append(sampleRate * 2, 4);
    append(2, 2);
    append(16, 2);
    bytes += "data";
    append(dataBytes, 4);
    for (const auto sample : samples) {
        append(static_cast<std::uint16_t>(sample), 2);
    }
    writePrivateFile(file, bytes);
}

} // namespace sandbox
