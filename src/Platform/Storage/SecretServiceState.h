#pragma once

#include <array>
#include <cstddef>

namespace platform {

// What is known of the desktop's secret service.
enum class SecretServiceState {
    unknown, // its name has no owner, and it has not been asked yet
    absent,  // its name has never had an owner, and it could not be started
    open,    // it answers
    locked,  // its collection is locked, or it owns its name and does nothing
    silent,  // an answer takes longer than the time limit
    away,    // it was there; the next request may start it again
    gone,    // it was there, and could not be started again
};

enum class SecretServiceEvent {
    appeared,    // its name has an owner now
    vanished,    // its name has no owner any more
    answered,    // an operation was carried out, or refused
    foundLocked, // an operation met a locked collection
    failed,      // an operation did not reach it
    unlocked,    // the collection is open again
    timedOut,    // waiting for an answer was given up
    caughtUp,    // the late answer has arrived
};

// Returns the state after an event.
constexpr SecretServiceState after(SecretServiceEvent event, SecretServiceState state) {
    using enum SecretServiceState;
    constexpr std::array<std::array<SecretServiceState, 8>, 7> table{{
        // appeared, vanished, answered, foundLocked, failed, unlocked, timedOut, caughtUp
        {open, unknown, open, locked, absent, unknown, silent, unknown}, // unknown
        {open, absent, absent, absent, absent, absent, absent, absent},  // absent
        {open, away, open, locked, locked, open, silent, open},          // open
        {open, away, locked, locked, locked, open, silent, locked},      // locked
        {open, away, silent, silent, silent, silent, silent, open},      // silent
        {open, away, away, locked, gone, away, silent, away},            // away
        {open, gone, gone, gone, gone, gone, gone, gone},                // gone
    }};
    return table[static_cast<std::size_t>(state)][static_cast<std::size_t>(event)];
}

} // namespace platform
