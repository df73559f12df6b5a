#pragma once

#include "Platform/Audio/AudioHost.h"

#include <chrono>

namespace platform {

// The configurable properties of a connection to a sound server.
struct PulseSettings {
    // An address as in PULSE_SERVER; empty for the user's own server.
    QString server = {};
    AudioClientIdentity identity = {};
    // How much sound the server collects before it sends a block. Wake-ups a second here and in the server,
    // with both streams (benchmarks/capture): 100 and 250 at 20 ms, 50 and 125 at 40 ms, 25 and 63 at 80 ms;
    // processor time is in proportion. A drain every 80 ms finds short chunks no more often at 80 ms than at
    // 20 ms.
    std::chrono::milliseconds fragment{80};
    // The time limit from the start of an operation to its result.
    std::chrono::milliseconds answerLimit{5000};
    // The time limit from the loss of a device to the first sound of its replacement.
    std::chrono::milliseconds followLimit{3000};
};

std::unique_ptr<AudioHost> makePulseAudioHost(PulseSettings settings);

} // namespace platform
