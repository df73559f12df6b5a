#include "benchmarks/sound/PlainLevel.h"

#include <cmath>

namespace corvane {

SignalLevel plainLevel(std::span<const float> samples) {
    float sum = 0;
    float peak = 0;
    for (const float sample : samples) {
        sum += sample * sample;
        const float magnitude = std::fabs(sample);
        if (magnitude > peak) {
            peak = magnitude;
        }
    }
    return {std::sqrt(sum / static_cast<float>(samples.size())), peak};
}

} // namespace corvane
