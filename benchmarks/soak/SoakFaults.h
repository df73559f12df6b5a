#pragma once

#include "benchmarks/soak/SoakRig.h"

#include <span>

namespace corvane {

// A fault around an interview, and the state in which the program must be afterwards. Each leaves the
// interview running again.
struct SoakFault {
    const char* name;
    // Throws SoakFailure.
    void (*happen)(SoakRig& rig);
};

std::span<const SoakFault> soakFaults();

} // namespace corvane
