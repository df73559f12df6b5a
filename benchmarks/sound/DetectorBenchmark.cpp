// One hop of 1,024 samples through our detector, compared with a plain loop and with the detectors of WebRTC
// and SpeexDSP for the same length of sound.
#include "Platform/Core/SystemClock.h"
#include "Services/VADService.h"
#include "benchmarks/sound/PlainLevel.h"
#include "benchmarks/sound/TestSignal.h"

#include <benchmark/benchmark.h>
#include <speex/speex_preprocess.h>
#include <webrtc/modules/audio_processing/include/audio_processing.h>

using namespace corvane;

namespace {

constexpr size_t hop = 1024;
constexpr double hopSeconds = hop / 48000.0;
constexpr int frame = 480; // 10 ms, as the other detectors require

void plainHop(benchmark::State& state) {
    const auto samples = voiceLikeSignal(hop);
    for (auto _ : state) {
        auto level = plainLevel(samples);
        benchmark::DoNotOptimize(level);
    }
}
BENCHMARK(plainHop);

void levelOfHop(benchmark::State& state) {
    const auto samples = voiceLikeSignal(hop);
    const auto kernel = signalLevelKernels()[static_cast<size_t>(state.range(0))];
    for (auto _ : state) {
        auto level = kernel(samples.data(), samples.size());
        benchmark::DoNotOptimize(level);
    }
}
BENCHMARK(levelOfHop)
    ->ArgName("kernel")
    ->DenseRange(0, static_cast<int64_t>(signalLevelKernels().size()) - 1);

// The whole detector as an interview runs it.
void detectorHop(benchmark::State& state) {
    const auto samples = voiceLikeSignal(hop);
    const platform::SystemClock clock;
    VADService detector(interviewVadConfig, 48000, clock);
    for (auto _ : state) {
        detector.processSamples(samples);
    }
    if (!detector.isSpeaking()) {
        state.SkipWithError("heard no speech");
    }
}
BENCHMARK(detectorHop);

// Reports the time for frames of 10 ms in relation to the length of a hop.
void reportPerHop(benchmark::State& state) {
    state.counters["per_hop"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * frame / static_cast<double>(hop),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void webrtcFrame(benchmark::State& state) {
    const auto samples = voiceLikeSignal(48000);
    const std::unique_ptr<webrtc::AudioProcessing> processing(webrtc::AudioProcessing::Create());
    processing->voice_detection()->Enable(true);
    const webrtc::StreamConfig format(48000, 1);
    std::vector<float> out(frame);
    float* const outChannel = out.data();
    size_t at = 0;
    int voiced = 0;
    for (auto _ : state) {
        const float* const channel = samples.data() + at;
        processing->ProcessStream(&channel, format, format, &outChannel);
        voiced += processing->voice_detection()->stream_has_voice() ? 1 : 0;
        at = (at + frame) % samples.size();
    }
    benchmark::DoNotOptimize(voiced);
    reportPerHop(state);
}
BENCHMARK(webrtcFrame);

void speexFrame(benchmark::State& state) {
    const auto samples = voiceLikeSignal(48000);
    auto* preprocess = speex_preprocess_state_init(frame, 48000);
    int vad = 1;
    int off = 0;
    speex_preprocess_ctl(preprocess, SPEEX_PREPROCESS_SET_VAD, &vad);
    speex_preprocess_ctl(preprocess, SPEEX_PREPROCESS_SET_DENOISE, &off);
    std::vector<spx_int16_t> block(frame);
    size_t at = 0;
    int voiced = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < block.size(); ++i) {
            block[i] = static_cast<spx_int16_t>(samples[at + i] * 32767.0F);
        }
        voiced += speex_preprocess_run(preprocess, block.data());
        at = (at + frame) % samples.size();
    }
    benchmark::DoNotOptimize(voiced);
    speex_preprocess_state_destroy(preprocess);
    reportPerHop(state);
}
BENCHMARK(speexFrame);

} // namespace
