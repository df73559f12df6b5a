// What the stand-in does wrong when it is asked to. Network thread only.
#pragma once

#include <chrono>
#include <string>

namespace sandbox {

// An error status for the next `times` requests.
struct Refusal {
    int status = 0;
    int times = 0;

    // The status if one is due, otherwise 0. Counts down.
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
    // Before each HTTP answer and before each answer on a WebSocket.
    std::chrono::milliseconds slowness{0};
    // Before end_interview_ack, besides the slowness.
    std::chrono::milliseconds endAckDelay{0};
    // What links opened from now on do.
    bool ignorePings = false;
    bool silent = false;
};

} // namespace sandbox
