#include "Platform/Audio/PulseFormat.h"

namespace platform {

pa_sample_format_t deliverableFormat(pa_sample_format_t native) {
    switch (native) {
    case PA_SAMPLE_FLOAT32LE:
    case PA_SAMPLE_FLOAT32BE:
        return PA_SAMPLE_FLOAT32LE;
    case PA_SAMPLE_S32LE:
    case PA_SAMPLE_S32BE:
    case PA_SAMPLE_S24LE:
    case PA_SAMPLE_S24BE:
    case PA_SAMPLE_S24_32LE:
    case PA_SAMPLE_S24_32BE:
        return PA_SAMPLE_S32LE;
    default: // 8 bits, A-law, mu-law and 16 bits
        return PA_SAMPLE_S16LE;
    }
}

AudioStreamDescription describe(const pa_sample_spec& format) {
    return {.sampleRate = static_cast<double>(format.rate),
            .channelsPerFrame = format.channels,
            .bitsPerChannel = static_cast<uint32_t>(pa_sample_size_of_format(format.format) * 8),
            .isFloat = format.format == PA_SAMPLE_FLOAT32LE};
}

} // namespace platform
