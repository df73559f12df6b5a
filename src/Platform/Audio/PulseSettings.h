#pragma once

#include "Platform/Audio/AudioHost.h"

#include <chrono>

namespace platform {

// Everything about the link to a sound server that a caller may want to differ.
struct PulseSettings {
    // An address as in PULSE_SERVER; empty: the user's own server.
    QString server = {};
    AudioClientIdentity identity = {};
    // How much sound the server gathers before it sends a block. benchmarks/capture, both streams, wake-ups a
    // second here and in the server: 20 ms 100 and 250, 40 ms 50 and 125, 80 ms 25 and 63; processor time
    // goes with them. A drain every 80 ms finds short chunks no more often with 80 ms than with 20.
    std::chrono::milliseconds fragment{80};
    // From the call of an operation to its result.
    std::chrono::milliseconds answerLimit{5000};
    // From the loss of a device to the first sound of the one that takes its place.
    std::chrono::milliseconds followLimit{3000};
};

std::unique_ptr<AudioHost> makePulseAudioHost(PulseSettings settings);

} // namespace platform
