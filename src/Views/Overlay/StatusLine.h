#pragma once

#include "Models/InterviewModels.h"

#include <array>

namespace corvane {

// What the bar says about the interview's status.
struct StatusLine {
    InterviewStatus status;
    bool running; // an interview is under way, so the bar shows its state and modes instead of the id field
    const char* statusLabelText;
    const char* statusDotColor; // a role of the theme
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
