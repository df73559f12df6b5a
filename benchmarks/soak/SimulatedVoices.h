#pragma once

#include "tests/Support/FakeAudioHost.h"

#include <chrono>
#include <cstdint>
#include <thread>

// Two people who take turns to speak, each on a thread of its own, as a sound server would deliver them
// `speed` times as fast. No two pieces are alike.
class SimulatedVoices {
public:
    SimulatedVoices(FakeAudioHost& host, int speed, std::uint32_t seed)
        : m_interviewer([&host, speed, seed](const std::stop_token& stop) {
            speak(stop, speed, seed, 0,
                  [&host](std::span<const float> samples) { host.pushMicrophone(samples); });
        })
        , m_candidate([&host, speed, seed](const std::stop_token& stop) {
            speak(stop, speed, seed + 1, secondsOfTurn,
                  [&host](std::span<const float> samples) { host.pushSystem(samples); });
        }) {}

private:
    static constexpr std::chrono::milliseconds piece{80};
    static constexpr std::size_t pieceSamples = 3840; // at 48 kHz
    static constexpr int secondsOfTurn = 6;
    static constexpr float loud = 0.1F;
    static constexpr float quiet = 0.0005F;

    // White noise, loud for a turn, quiet for the next.
    template<typename Push>
    static void speak(const std::stop_token& stop, int speed, std::uint32_t noise, int secondsAhead,
                      Push push) {
        using Clock = std::chrono::steady_clock;
        constexpr int turn = secondsOfTurn * 1000 / static_cast<int>(piece.count());
        std::vector<float> samples(pieceSamples);
        auto due = Clock::now();
        for (int n = secondsAhead * 1000 / static_cast<int>(piece.count()); !stop.stop_requested(); ++n) {
            const float level = n / turn % 2 == 0 ? loud : quiet;
            for (auto& sample : samples) {
                noise = noise * 1664525U + 1013904223U;
                sample = (static_cast<float>(noise >> 8) / 8388608.0F - 1.0F) * level;
            }
            push(std::span<const float>(samples));
            // Time lost while the process was stopped is not made up for.
            due = std::max(due + piece / speed, Clock::now());
            std::this_thread::sleep_until(due);
        }
    }

    std::jthread m_interviewer;
    std::jthread m_candidate;
};
