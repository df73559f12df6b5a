// Everything that the backend has received of one interview. It outlives connections and sessions.
#pragma once

#include "sandbox/AudioInspector.h"

#include <boost/json/object.hpp>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace sandbox {

enum class Speaker { interviewer = 0, candidate = 1 };

struct InterviewRecord {
    std::string id;
    bool running = false;
    // Indexed by Speaker.
    std::array<StreamStatistics, 2> streams;
    int speechStarts = 0;
    // The times that the program sent, in milliseconds since the epoch.
    std::vector<std::int64_t> speechStops;
    int assessments = 0;
    std::string lastAssessment;
    double secondsAtAssessment = 0;
    std::string activeQuestion;
    bool followUps = false;
    bool english = false;

    const StreamStatistics& stream(Speaker speaker) const {
        return streams[static_cast<std::size_t>(speaker)];
    }
    // Returns the length of the longer stream.
    double seconds() const;
};

// Returns the assessment that is streamed to the program piece by piece: an overview with the figures of both
// streams, then the sections "Comment" and "Recommendation", each under its own header line.
std::string writeAssessment(const InterviewRecord& record, std::string_view occasion);
// Returns the same figures as JSON.
boost::json::object describeInterview(const InterviewRecord& record);

} // namespace sandbox
