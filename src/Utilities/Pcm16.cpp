#include "Pcm16.h"

#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace pcm16 {

namespace {

constexpr float fullScale = 32767.0F;

// Comparisons in this form let a NaN take the upper limit, here and in the vector instructions below.
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

// minps and maxps give their second operand when either is a NaN.
__m128i scaledSse2(const float* samples) {
    const __m128 upper = _mm_min_ps(_mm_loadu_ps(samples), _mm_set1_ps(1.0F));
    const __m128 clipped = _mm_max_ps(upper, _mm_set1_ps(-1.0F));
    return _mm_cvttps_epi32(_mm_mul_ps(clipped, _mm_set1_ps(fullScale)));
}

void convertSse2(const float* samples, size_t count, std::byte* out) {
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i packed = _mm_packs_epi32(scaledSse2(samples + i), scaledSse2(samples + i + 4));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), packed);
    }
    convertPortable(samples + i, count - i, out + 2 * i);
}

__attribute__((target("avx2"))) inline __m256i scaledAvx2(const float* samples) {
    const __m256 upper = _mm256_min_ps(_mm256_loadu_ps(samples), _mm256_set1_ps(1.0F));
    const __m256 clipped = _mm256_max_ps(upper, _mm256_set1_ps(-1.0F));
    return _mm256_cvttps_epi32(_mm256_mul_ps(clipped, _mm256_set1_ps(fullScale)));
}

__attribute__((target("avx2"))) void convertAvx2(const float* samples, size_t count, std::byte* out) {
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        // The packing works within each half of the register; the permutation puts the quarters in order.
        const __m256i packed = _mm256_packs_epi32(scaledAvx2(samples + i), scaledAvx2(samples + i + 8));
        const __m256i ordered = _mm256_permute4x64_epi64(packed, 0b11'01'10'00);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i), ordered);
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
