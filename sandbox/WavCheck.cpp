#include "sandbox/WavCheck.h"

#include <array>
#include <string_view>

namespace sandbox {

namespace {

constexpr std::size_t headerBytes = 44;

std::uint32_t little(std::span<const std::uint8_t> file, std::size_t offset, int size) {
    std::uint32_t value = 0;
    for (int i = size - 1; i >= 0; --i) {
        value = (value << 8) | file[offset + static_cast<std::size_t>(i)];
    }
    return value;
}

std::string_view tag(std::span<const std::uint8_t> file, std::size_t offset) {
    return {reinterpret_cast<const char*>(file.data() + offset), 4};
}

} // namespace

WavContent readWav(std::span<const std::uint8_t> file) {
    if (file.size() < headerBytes) {
        return {0, {}, "shorter than its header"};
    }
    struct Tag {
        std::size_t offset;
        std::string_view expected;
    };
    for (const auto& [offset, expected] :
         {Tag{0, "RIFF"}, Tag{8, "WAVE"}, Tag{12, "fmt "}, Tag{36, "data"}}) {
        if (tag(file, offset) != expected) {
            return {0, {}, "no \"" + std::string(expected) + "\" at " + std::to_string(offset)};
        }
    }
    const auto rate = little(file, 24, 4);
    const auto dataBytes = static_cast<std::uint32_t>(file.size() - headerBytes);
    struct Field {
        std::size_t offset;
        int size;
        std::uint32_t expected;
        std::string_view name;
    };
    const std::array<Field, 8> fields{{{4, 4, 36 + dataBytes, "chunk size"},
                                       {16, 4, 16, "format size"},
                                       {20, 2, 1, "audio format"},
                                       {22, 2, 1, "channels"},
                                       {28, 4, rate * 2, "byte rate"},
                                       {32, 2, 2, "block align"},
                                       {34, 2, 16, "bits per sample"},
                                       {40, 4, dataBytes, "data size"}}};
    for (const auto& field : fields) {
        if (const auto value = little(file, field.offset, field.size); value != field.expected) {
            return {rate,
                    {},
                    std::string(field.name) + ' ' + std::to_string(value) + ", not " +
                        std::to_string(field.expected)};
        }
    }
    if (rate < 8000 || rate > 192000 || dataBytes % 2 != 0) {
        return {rate, {}, dataBytes % 2 != 0 ? "half a sample" : "sample rate " + std::to_string(rate)};
    }
    WavContent content{rate, std::vector<std::int16_t>(dataBytes / 2), {}};
    for (std::size_t i = 0; i < content.samples.size(); ++i) {
        content.samples[i] = static_cast<std::int16_t>(little(file, headerBytes + 2 * i, 2));
    }
    return content;
}

} // namespace sandbox
