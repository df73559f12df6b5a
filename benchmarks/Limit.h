#pragma once

#include <benchmark/benchmark.h>

inline constexpr auto iterationLimit = "limit"; // name of the counter

// Sets the limit for the processor time of one iteration; exceeding it makes the program fail.
inline void limitIteration(benchmark::State& state, double seconds) {
    state.counters[iterationLimit] = seconds;
}
