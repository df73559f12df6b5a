#include "Utilities/Pcm16.h"

#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace corvane {

namespace pcm16 {

namespace {

constexpr float fullScale = 32767.0F;

// Comparing in this form gives NaN the upper limit.
int16_t toInteger(float sample) {
    const float upper = sample < 1.0F ? sample : 1.0F;
    const float clipped = upper > -1.0F ? upper : -1.0F;
    return static_cast<int16_t>(clipped * fullScale);
}

void convertPortable(const float* samples, size_t count, std::byte* out) {
    for (size_t i = 0; i < count; ++i) {
        auto value = std::bit_cast<uint16_t>(toInteger(samples[i]));
        if constexpr (std::endian::native == std::endian::big) {
            value = static_cast<uint16_t>((value >> 8) | (value << 8));
        }
        std::memcpy(out + 2 * i, &value, sizeof value);
    }
}

#if defined(__x86_64__)

// Values that are too low become -32768 or less, by the multiplication or by the conversion's overflow value,
// and are raised to -32767 after the saturating packing, where one instruction does it for all. minps returns
// its second operand if either is NaN.
__m128i scaledSse2(const float* samples) {
    const __m128 upper = _mm_min_ps(_mm_loadu_ps(samples), _mm_set1_ps(1.0F));
    return _mm_cvttps_epi32(_mm_mul_ps(upper, _mm_set1_ps(fullScale)));
}

void convertSse2(const float* samples, size_t count, std::byte* out) {
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i packed = _mm_packs_epi32(scaledSse2(samples + i), scaledSse2(samples + i + 4));
        const __m128i lifted = _mm_max_epi16(packed, _mm_set1_epi16(-32767));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), lifted);
    }
    convertPortable(samples + i, count - i, out + 2 * i);
}

__attribute__((target("avx2"))) inline __m256i scaledAvx2(const float* samples) {
    const __m256 upper = _mm256_min_ps(_mm256_loadu_ps(samples), _mm256_set1_ps(1.0F));
    return _mm256_cvttps_epi32(_mm256_mul_ps(upper, _mm256_set1_ps(fullScale)));
}

__attribute__((target("avx2"))) inline void convert16Avx2(const float* samples, std::byte* out) {
    // The packing works within each half of the register; the permutation puts the quarters in order.
    const __m256i packed = _mm256_packs_epi32(scaledAvx2(samples), scaledAvx2(samples + 8));
    const __m256i lifted = _mm256_max_epi16(packed, _mm256_set1_epi16(-32767));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_permute4x64_epi64(lifted, 0b11'01'10'00));
}

__attribute__((target("avx2"))) void convertAvx2(const float* samples, size_t count, std::byte* out) {
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        convert16Avx2(samples + i, out + 2 * i);
        convert16Avx2(samples + i + 16, out + 2 * i + 32);
    }
    convertPortable(samples + i, count - i, out + 2 * i);
}

constexpr Kernel allKernels[] = {convertAvx2, convertSse2, convertPortable};

#else

constexpr Kernel allKernels[] = {convertPortable};

#endif

} // namespace

std::span<const Kernel> kernels() {
    const std::span<const Kernel> all(allKernels);
#if defined(__x86_64__)
    if (!__builtin_cpu_supports("avx2")) {
        return all.subspan(1);
    }
#endif
    return all;
}

void convert(std::span<const float> samples, std::byte* out) {
    kernels().front()(samples.data(), samples.size(), out);
}

} // namespace pcm16

} // namespace corvane
