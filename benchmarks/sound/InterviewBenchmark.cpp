// One second of an interview: both streams in fragments of 20 ms through conversion, detector, ring buffer,
// chunks and files.
#include "Platform/Core/SystemClock.h"
#include "Services/MicrophonePipeline.h"
#include "Services/SystemAudioPipeline.h"
#include "benchmarks/Limit.h"
#include "benchmarks/sound/TestSignal.h"

using namespace corvane;

namespace {

constexpr size_t second = 48000; // samples
constexpr double limit = 0.0002; // of a second's time, on one core

// The detector and the two encoders alone.
void detectorAndEncoders(benchmark::State& state) {
    const auto samples = voiceLikeSignal(second);
    const std::span<const float> all(samples);
    const platform::SystemClock clock;
    VADService detector(interviewVadConfig, 48000, clock);
    const WAVEncoder encoder;
    for (auto _ : state) {
        for (size_t at = 0; at < second; at += 960) {
            detector.processSamples(all.subspan(at, 960));
        }
        // 12.5 chunks of either stream.
        for (size_t i = 0; i < 25; ++i) {
            auto file = encoder.encode(all.subspan(i * 1840, 3840), 48000, 1);
            benchmark::DoNotOptimize(file.data());
        }
    }
    limitIteration(state, limit);
}
BENCHMARK(detectorAndEncoders);

void bothStreams(benchmark::State& state) {
    const auto samples = voiceLikeSignal(second);
    const std::span<const float> all(samples);
    const platform::SystemClock clock;
    qsizetype bytes = 0;
    const auto count = [&bytes](const QByteArray& wav) { bytes += wav.size(); };
    SystemAudioPipeline system(AudioCaptureMode::rawStreaming, interviewVadConfig, 48000, clock,
                               {count, [] {}, [](qint64) {}, count});
    MicrophonePipeline microphone(48000, {count, [](uint32_t) {}});
    platform::AudioBuffer buffer;
    buffer.description = platform::AudioStreamDescription{48000.0, 1, 32, true};
    buffer.length = 960 * sizeof(float);
    int fragment = 0;
    for (auto _ : state) {
        for (size_t at = 0; at < second; at += 960) {
            buffer.data = std::as_bytes(all.subspan(at)).data();
            system.handle(buffer);
            microphone.handle(buffer);
            if (++fragment % 4 == 0) {
                system.drain();
            }
        }
    }
    benchmark::DoNotOptimize(bytes);
    limitIteration(state, limit);
}
BENCHMARK(bothStreams);

} // namespace
