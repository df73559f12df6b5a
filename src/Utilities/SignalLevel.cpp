#include "Utilities/SignalLevel.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace corvane {

// Adds neighbouring sums first, as in a tree, so that rounding grows with the logarithm of the count; a
// running sum would put a constant signal at a threshold on the wrong side of it.

namespace {

#define ALWAYS_INLINE [[gnu::always_inline]] inline

using Lanes4 = float __attribute__((vector_size(16)));
using Bits4 = int32_t __attribute__((vector_size(16)));
using Lanes8 = float __attribute__((vector_size(32)));
using Bits8 = int32_t __attribute__((vector_size(32)));

constexpr size_t blockSamples = 128;
// Several independent maxima, since a single one would make each sample wait for the one before it.
constexpr size_t peakChains = 4;

// Computes the sum of the squares of `Vectors` vectors, a power of two, and updates the peaks.
template<typename Lanes, typename Bits, size_t Vectors>
ALWAYS_INLINE void sumOfSquares(const float* samples, Lanes& sum, Lanes* peaks) {
    constexpr size_t laneCount = sizeof(Lanes) / sizeof(float);
    if constexpr (Vectors == 1) {
        Lanes value;
        std::memcpy(&value, samples, sizeof value);
        sum = value * value;
        const auto magnitude = reinterpret_cast<Lanes>(reinterpret_cast<Bits>(value) & 0x7FFFFFFF);
        *peaks = magnitude > *peaks ? magnitude : *peaks;
    } else {
        constexpr size_t half = Vectors / 2;
        Lanes upper;
        sumOfSquares<Lanes, Bits, half>(samples, sum, peaks);
        sumOfSquares<Lanes, Bits, half>(samples + half * laneCount, upper, peaks + half % peakChains);
        sum += upper;
    }
}

// Sums of neighbouring blocks, kept until two of the same size meet, like the bits of a counter.
template<typename Lanes>
class PairwiseSum {
public:
    ALWAYS_INLINE void add(const Lanes& block) {
        Lanes sum = block;
        size_t level = 0;
        for (auto carry = m_count++; (carry & 1) != 0; carry >>= 1) {
            sum = m_levels[level++] + sum;
        }
        m_levels[level] = sum;
    }
    ALWAYS_INLINE float total() const {
        Lanes lanes{};
        size_t level = 0;
        for (auto count = m_count; count != 0; count >>= 1, ++level) {
            if ((count & 1) != 0) {
                lanes = m_levels[level] + lanes;
            }
        }
        float sum = (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
        if constexpr (sizeof(Lanes) == sizeof(Lanes8)) {
            sum += (lanes[4] + lanes[5]) + (lanes[6] + lanes[7]);
        }
        return sum;
    }

private:
    Lanes m_levels[64];
    uint64_t m_count = 0;
};

template<typename Lanes>
ALWAYS_INLINE float largest(const Lanes* peaks) {
    Lanes lanes = peaks[0];
    for (size_t chain = 1; chain < peakChains; ++chain) {
        lanes = peaks[chain] > lanes ? peaks[chain] : lanes;
    }
    float peak = 0;
    for (size_t lane = 0; lane < sizeof(Lanes) / sizeof(float); ++lane) {
        peak = lanes[lane] > peak ? lanes[lane] : peak;
    }
    return peak;
}

template<typename Lanes, typename Bits>
ALWAYS_INLINE SignalLevel measure(const float* samples, size_t count) {
    constexpr size_t vectors = blockSamples * sizeof(float) / sizeof(Lanes);
    if (count == 0) {
        return {};
    }
    PairwiseSum<Lanes> sums;
    Lanes peaks[peakChains] = {};
    Lanes sum;
    size_t i = 0;
    for (; i + blockSamples <= count; i += blockSamples) {
        sumOfSquares<Lanes, Bits, vectors>(samples + i, sum, peaks);
        sums.add(sum);
    }
    if (i < count) {
        float rest[blockSamples] = {};
        std::memcpy(rest, samples + i, (count - i) * sizeof(float));
        sumOfSquares<Lanes, Bits, vectors>(rest, sum, peaks);
        sums.add(sum);
    }
    return {std::sqrt(sums.total() / static_cast<float>(count)), largest(peaks)};
}

SignalLevel measureBaseline(const float* samples, size_t count) {
    return measure<Lanes4, Bits4>(samples, count);
}

#if defined(__x86_64__)

__attribute__((target("avx2"))) SignalLevel measureAvx2(const float* samples, size_t count) {
    return measure<Lanes8, Bits8>(samples, count);
}

constexpr SignalLevelKernel allKernels[] = {measureAvx2, measureBaseline};

#else

constexpr SignalLevelKernel allKernels[] = {measureBaseline};

#endif

} // namespace

std::span<const SignalLevelKernel> signalLevelKernels() {
    const std::span<const SignalLevelKernel> all(allKernels);
#if defined(__x86_64__)
    if (!__builtin_cpu_supports("avx2")) {
        return all.subspan(1);
    }
#endif
    return all;
}

SignalLevel signalLevel(std::span<const float> samples) {
    return signalLevelKernels().front()(samples.data(), samples.size());
}

} // namespace corvane
