// The faults that the stand-in simulates on request. Network thread only.
#pragma once

#include <chrono>
#include <string>

namespace sandbox {

// An error status for the next `times` requests.
struct Refusal {
    int status = 0;
    int times = 0;

    // Returns the status if a refusal is due, otherwise 0. Counts down.
    int take() {
        if (times <= 0) {
            return 0;
        }
        --times;
        return status;
    }
};

struct Faults {
    Refusal upgrade;
    Refusal rest;
    // Requests for a session token.
    Refusal token;
    // Sign-in requests fail with this error code.
    std::string signInCode;
    int signInTimes = 0;
    // The delay before each HTTP response and before each answer on a WebSocket.
    std::chrono::milliseconds slowness{0};
    // The additional delay before end_interview_ack.
    std::chrono::milliseconds endAckDelay{0};
    // The behaviour of links that open from now on.
    bool ignorePings = false;
    bool silent = false;
};

} // namespace sandbox
