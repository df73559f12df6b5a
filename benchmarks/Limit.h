#pragma once

#include <benchmark/benchmark.h>

inline constexpr auto turnLimit = "limit"; // a counter

// What a turn of the loop may take, in processor time; more fails the program.
inline void limitTurn(benchmark::State& state, double seconds) {
    state.counters[turnLimit] = seconds;
}
