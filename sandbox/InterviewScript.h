// What the backend says in an interview: its plan, its questions, its prose.
#pragma once

#include <boost/json/object.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

// The beginning of the chat message that opens an interview; the rest is the interview's id.
inline constexpr std::string_view openingSentence = "I want to start interview with id ";

// Returns true for 8-4-4-4-12 hex digits that are not all zero: an id of zeros means an interview without a
// plan.
bool isPlannedInterview(std::string_view id);

// Map topic names to arrays of questions, in the order of the interview, which is not alphabetical.
boost::json::object interviewPlan();
boost::json::object interviewQuestions();
// Returns whether `text` is exactly one of the questions.
bool isInterviewQuestion(std::string_view text);

std::string openingReply(std::string_view interviewId);
std::string unplannedReply();
std::string chatReply(std::string_view message);

// Splits UTF-8 text into pieces of about `size` bytes, never inside a character.
std::vector<std::string> inPieces(std::string_view text, std::size_t size);

} // namespace sandbox
