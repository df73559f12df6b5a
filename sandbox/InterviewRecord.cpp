#include "sandbox/InterviewRecord.h"

#include <boost/json/value_from.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace sandbox {

namespace json = boost::json;

namespace {

// Below this a recording of speech is too faint to be understood.
constexpr double faintLevel = -50.0;
constexpr double clippedPeak = 32767;

std::string decimal(double value) {
    std::array<char, 32> text;
    const int length = std::snprintf(text.data(), text.size(), "%.1f", value);
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string level(const StreamStatistics& stream) {
    return stream.level() <= -120.0 ? "silence" : "level " + decimal(stream.level()) + " dBFS";
}

std::string times(int count) {
    return count == 1 ? "once" : std::to_string(count) + " times";
}

std::string soundRemark(std::string_view who, const StreamStatistics& stream) {
    if (stream.frames() == 0) {
        return "No sound of the " + std::string(who) + " has arrived. ";
    }
    if (stream.badFrames() > 0) {
        return std::to_string(stream.badFrames()) + " of " + std::to_string(stream.frames()) +
               " pieces of the " + std::string(who) + "'s sound could not be read. ";
    }
    if (stream.level() < faintLevel) {
        return "The " + std::string(who) + " is too faint to be understood. ";
    }
    return stream.peak() >= clippedPeak ? "The " + std::string(who) + " is overdriven at times. " : "";
}

std::string recommendation(const InterviewRecord& record) {
    const auto& candidate = record.stream(Speaker::candidate);
    if (candidate.speech().times() == 0) {
        return "Check the sound of the call: the candidate has not been heard yet.";
    }
    return candidate.speech().lastSeconds() < 1.5 ? "The last answer was short. Ask for an example."
                                                  : "Ask what the candidate would do differently today.";
}

json::object describeStream(const StreamStatistics& stream) {
    return {{"frames", stream.frames()},
            {"bad_frames", stream.badFrames()},
            {"samples", stream.sampleCount()},
            {"seconds", stream.seconds()},
            {"sample_rate", stream.sampleRate()},
            {"rate_changes", stream.rateChanges()},
            {"level_dbfs", stream.level()},
            {"peak", stream.peak()},
            {"speaking", stream.speech().isSpeaking()},
            {"spoke_times", stream.speech().times()},
            {"spoke_seconds", stream.speech().seconds()}};
}

} // namespace

double InterviewRecord::seconds() const {
    return std::max(streams[0].seconds(), streams[1].seconds());
}

std::string writeAssessment(const InterviewRecord& record, std::string_view occasion) {
    const auto& interviewer = record.stream(Speaker::interviewer);
    const auto& candidate = record.stream(Speaker::candidate);
    const auto& speech = candidate.speech();
    std::string text = "Interviewer: " + decimal(interviewer.seconds()) + " s received, " +
                       level(interviewer) + ". Candidate: " + decimal(candidate.seconds()) + " s received, " +
                       level(candidate) + ", spoke " + times(speech.times()) + " for " +
                       decimal(speech.seconds()) + " s.\n";
    text += "Marks: " + std::to_string(record.speechStarts) + " starts, " +
            std::to_string(record.speechStops.size()) + " stops. Written because " + std::string(occasion) +
            ".\n\n";
    text += "**Comment:**\n" + soundRemark("interviewer", interviewer) + soundRemark("candidate", candidate);
    if (speech.times() > 0) {
        text += "The last answer took " + decimal(speech.lastSeconds()) + " s";
        text += record.activeQuestion.empty() ? "." : ", to \u201c" + record.activeQuestion + "\u201d.";
    } else {
        text += "There is no answer to judge yet.";
    }
    return text + "\n\n**Recommendation:**\n" + recommendation(record) + "\n";
}

json::object describeInterview(const InterviewRecord& record) {
    return {{"id", record.id},
            {"running", record.running},
            {"interviewer", describeStream(record.stream(Speaker::interviewer))},
            {"candidate", describeStream(record.stream(Speaker::candidate))},
            {"speech_starts", record.speechStarts},
            {"speech_stops", json::value_from(record.speechStops)},
            {"assessments", record.assessments},
            {"last_assessment", record.lastAssessment},
            {"active_question", record.activeQuestion},
            {"follow_ups", record.followUps},
            {"english", record.english}};
}

} // namespace sandbox
