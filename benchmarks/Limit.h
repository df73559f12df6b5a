#pragma once

#include <benchmark/benchmark.h>

inline constexpr auto iterationLimit = "limit"; // a counter

// What a turn of the loop may take, in processor time; more fails the program.
inline void limitIteration(benchmark::State& state, double seconds) {
    state.counters[iterationLimit] = seconds;
}
