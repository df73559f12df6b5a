// What the backend says in an interview: its plan, its questions, its prose.
#pragma once

#include <boost/json/object.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

// The start of the chat message that opens an interview; the rest of it is the interview's id.
inline constexpr std::string_view openingSentence = "I want to start interview with id ";

// True for 8-4-4-4-12 hex digits that are not all zero: an id with nothing behind it stands for an interview
// that nobody has planned.
bool isPlannedInterview(std::string_view id);

// Topic name to array of questions, in the order of the interview, which is not that of the alphabet.
boost::json::object interviewPlan();
boost::json::object interviewQuestions();
// Whether `text` is one of the questions, to the letter.
bool isInterviewQuestion(std::string_view text);

std::string openingReply(std::string_view interviewId);
std::string unplannedReply();
std::string chatReply(std::string_view message);

// Splits UTF-8 text into pieces of about `size` bytes, never inside a character.
std::vector<std::string> inPieces(std::string_view text, std::size_t size);

} // namespace sandbox
