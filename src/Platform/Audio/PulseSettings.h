#pragma once

#include "AudioHost.h"

#include <chrono>

namespace platform {

// Everything about the link to a sound server that a caller may want to differ.
struct PulseSettings {
    // An address as in PULSE_SERVER; empty: the user's own server.
    QString server;
    AudioClientIdentity identity;
    // How much sound the server gathers before it sends a block. Measured by benchmarks/capture, both streams
    // for a minute: 20 ms cost TBD.
    std::chrono::milliseconds fragment{40};
    // From the call of an operation to its result.
    std::chrono::milliseconds answerLimit{5000};
    // From the loss of a device to the first sound of the one that takes its place.
    std::chrono::milliseconds followLimit{3000};
};

std::unique_ptr<AudioHost> makePulseAudioHost(PulseSettings settings);

} // namespace platform
