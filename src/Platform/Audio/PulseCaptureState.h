#pragma once

#include <array>

namespace platform {

// What a capture that follows a device is doing.
enum class PulseCaptureState {
    connecting, // has not looked at the devices yet
    opening,    // the first recording
    live,       // the wanted device is heard
    leaving,    // an unwanted device is heard, and there is no other
    switching,  // a device is heard, the wanted one is being opened
    waiting,    // nothing is heard, and nothing can be opened yet
    reopening,  // nothing is heard, the wanted device is being opened
    ended,
};

enum class PulseCaptureEvent {
    nothingWanted, // there is no device of the kind
    currentWanted, // the device that is heard
    nextWanted,    // the one that is being opened
    otherWanted,   // one that has to be opened
    nextReady,
    nextLost, // refused, ended by the server or moved to another device
    currentLost,
};

// What a capture has in a state.
struct PulseCaptureTraits {
    bool hears = false;   // a recording that delivers
    bool opens = false;   // a recording that is being opened
    bool limited = false; // must become live within the time limit
};

struct PulseCaptureTransition {
    PulseCaptureState from;
    PulseCaptureEvent event;
    PulseCaptureState to;
};

inline constexpr auto pulseCaptureTransitions = [] {
    using S = PulseCaptureState;
    using E = PulseCaptureEvent;
    return std::to_array<PulseCaptureTransition>({
        {S::connecting, E::nothingWanted, S::ended},  {S::connecting, E::otherWanted, S::opening},
        {S::opening, E::nothingWanted, S::ended},     {S::opening, E::nextWanted, S::opening},
        {S::opening, E::otherWanted, S::opening},     {S::opening, E::nextReady, S::live},
        {S::opening, E::nextLost, S::ended},          {S::live, E::nothingWanted, S::leaving},
        {S::live, E::currentWanted, S::live},         {S::live, E::otherWanted, S::switching},
        {S::live, E::currentLost, S::waiting},        {S::leaving, E::nothingWanted, S::leaving},
        {S::leaving, E::currentWanted, S::live},      {S::leaving, E::otherWanted, S::switching},
        {S::leaving, E::currentLost, S::waiting},     {S::switching, E::nothingWanted, S::leaving},
        {S::switching, E::currentWanted, S::live},    {S::switching, E::nextWanted, S::switching},
        {S::switching, E::otherWanted, S::switching}, {S::switching, E::nextReady, S::live},
        {S::switching, E::nextLost, S::leaving},      {S::switching, E::currentLost, S::reopening},
        {S::waiting, E::nothingWanted, S::waiting},   {S::waiting, E::otherWanted, S::reopening},
        {S::reopening, E::nothingWanted, S::waiting}, {S::reopening, E::nextWanted, S::reopening},
        {S::reopening, E::otherWanted, S::reopening}, {S::reopening, E::nextReady, S::live},
        {S::reopening, E::nextLost, S::waiting},
    });
}();

// An event that cannot happen in a state changes nothing.
constexpr PulseCaptureState pulseCaptureNext(PulseCaptureState from, PulseCaptureEvent event) {
    for (const auto& row : pulseCaptureTransitions) {
        if (row.from == from && row.event == event) {
            return row.to;
        }
    }
    return from;
}

constexpr PulseCaptureTraits pulseCaptureTraits(PulseCaptureState state) {
    constexpr std::array<PulseCaptureTraits, 8> traits{{
        {},                                              // connecting
        {.opens = true},                                 // opening
        {.hears = true},                                 // live
        {.hears = true, .limited = true},                // leaving
        {.hears = true, .opens = true, .limited = true}, // switching
        {.limited = true},                               // waiting
        {.opens = true, .limited = true},                // reopening
        {},                                              // ended
    }};
    return traits[static_cast<std::size_t>(state)];
}

} // namespace platform
