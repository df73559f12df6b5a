#pragma once

#include "Platform/Audio/AudioHost.h"

#include <pulse/sample.h>

namespace platform {

// Returns the format in which a device's samples are requested: its own if a stream description can express
// it (16- and 32-bit integers and 32-bit floats, little-endian), otherwise the narrowest of those that loses
// nothing. That way a telephone-quality or 24-bit headset works too.
pa_sample_format_t deliverableFormat(pa_sample_format_t native);

// Describes a format that deliverableFormat() returned.
AudioStreamDescription describe(const pa_sample_spec& format);

} // namespace platform
