#pragma once

#include "Models/InterviewModels.h"

#include <array>

namespace corvane {

// What the bar shows about the status of the interview.
struct StatusLine {
    InterviewStatus status;
    bool running; // true during an interview, when the bar shows its state and modes instead of the id field
    const char* statusLabelText;
    const char* statusDotColor; // the name of a colour of Theme
};

inline constexpr std::array statusLines{
    StatusLine{InterviewStatus::idle, false, "Disconnected", "red"},
    StatusLine{InterviewStatus::waitingForQuestions, true, "Connecting...", "yellow"},
    StatusLine{InterviewStatus::startingAudio, true, "Connecting...", "yellow"},
    StatusLine{InterviewStatus::connecting, true, "Connecting...", "yellow"},
    StatusLine{InterviewStatus::streaming, true, "Live", "green"},
    StatusLine{InterviewStatus::paused, true, "Paused", "orange"},
    StatusLine{InterviewStatus::error, false, "Disconnected", "red"},
};

constexpr const StatusLine& statusLine(InterviewStatus status) {
    for (const auto& line : statusLines) {
        if (line.status == status) {
            return line;
        }
    }
    return statusLines.front();
}

} // namespace corvane
