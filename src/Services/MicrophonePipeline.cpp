#include "Services/MicrophonePipeline.h"

#include "Platform/Core/Log.h"
#include "Services/SampleConversion.h"
#include "Utilities/SignalLevel.h"

#include <limits>

namespace corvane {

namespace {

struct LogState {
    // Counted over all microphone captures of the process.
    static inline std::atomic<qint64> totalChunks = 0;
};

bool isUsable(double sampleRate) {
    return sampleRate >= 1.0 && sampleRate <= std::numeric_limits<uint32_t>::max();
}

} // namespace

MicrophonePipeline::MicrophonePipeline(uint32_t lastSampleRate, Events events)
    : m_events(std::move(events))
    , m_chunker(lastSampleRate, m_events.chunk) {}

void MicrophonePipeline::stop() {
    m_micStopFlag = true;
    const std::lock_guard lock(m_handling);
}

void MicrophonePipeline::handle(const platform::AudioBuffer& buffer) {
    const std::lock_guard lock(m_handling);
    if (m_micStopFlag || !buffer.hasFormat) {
        return;
    }
    const auto description = buffer.description.value_or(platform::AudioStreamDescription());
    if (!isUsable(description.sampleRate)) {
        return;
    }
    int emitted = takeRate(description);
    std::span<const float> mono;
    if (buffer.data) {
        mono = conversion::microphoneSamples({buffer.data, buffer.length}, description, m_mono);
    }
    emitted += m_chunker.append(mono);
    if (emitted > 0) {
        countChunks(emitted, mono);
    }
}

int MicrophonePipeline::takeRate(const platform::AudioStreamDescription& description) {
    const auto rate = static_cast<uint32_t>(description.sampleRate);
    if (rate == m_chunker.sampleRate()) {
        return 0;
    }
    const int flushed = m_chunker.setSampleRate(rate);
    m_events.rateChanged(rate);
    platform::logLine(QString::asprintf("[Audio] Mic format: %uHz, %uch, %ubit, float=%d", rate,
                                        description.channelsPerFrame, description.bitsPerChannel,
                                        description.isFloat ? 1 : 0));
    return flushed;
}

void MicrophonePipeline::countChunks(int emitted, std::span<const float> mono) const {
    const auto total = LogState::totalChunks += emitted;
    if (total < 6 || total % 100 == 0) {
        const auto [rms, peak] = signalLevel(mono);
        platform::logLine(QString::asprintf("[Audio] Mic chunk total=%lld, rms=%.6f, peak=%.6f, sr=%u",
                                            static_cast<long long>(total), static_cast<double>(rms),
                                            static_cast<double>(peak), m_chunker.sampleRate()));
    }
}

} // namespace corvane
