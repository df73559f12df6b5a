#pragma once

#include "Platform/Audio/AudioHost.h"

#include <pulse/sample.h>

namespace platform {

// The format in which a device's samples are asked for: its own where a stream description can state it (16-
// and 32-bit integers and 32-bit floats, little endian), else the narrowest of those that loses nothing, so
// that a telephone-quality or a 24-bit headset is heard as well.
pa_sample_format_t deliverableFormat(pa_sample_format_t native);

// `format` as deliverableFormat() gives it.
AudioStreamDescription describe(const pa_sample_spec& format);

} // namespace platform
