#pragma once

#include "benchmarks/soak/SoakRig.h"

#include <span>

namespace corvane {

// What goes wrong around an interview, and in what state the program has to be afterwards. Each leaves it
// running again.
struct SoakFault {
    const char* name;
    // Throws SoakFailure.
    void (*happen)(SoakRig& rig);
};

std::span<const SoakFault> soakFaults();

// The soak's program started with this option and a path is another program that holds the database there,
// until its input ends. Gives its exit status.
constexpr auto lockOption = "--lock";
int lockStore(const char* path);

} // namespace corvane
