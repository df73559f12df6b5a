#include "sandbox/InterviewScript.h"

#include <boost/json/array.hpp>

#include <algorithm>
#include <array>
#include <cctype>

namespace sandbox {

namespace json = boost::json;

namespace {

struct ScriptedQuestion {
    std::string_view topic;
    std::string_view question;
    std::string_view justification;
};

constexpr std::array<ScriptedQuestion, 7> script{{
    {"Warm-up", "Which project of the last year are you proud of, and what was your own part in it?",
     "Opens the conversation and shows what the candidate values [5 min]."},
    {"System design [Senior] ( )",
     "How would you design a rate limiter for a public API that runs in three regions? [15 min]",
     "Tests reasoning about consistency, cost and failure ()."},
    {"System design [Senior] ( )",
     "What changes in your design when **one region** is cut off for ten minutes?",
     "Follows the first answer into its weakest point."},
    {"Debugging", "A service answers slowly once an hour, for a minute. How do you find out why?",
     "Shows whether measuring comes before guessing."},
    {"Debugging", "Which tool did you reach for last time, and what did it fail to show you?", ""},
    {"Teamwork", "Tell me about a decision that you disagreed with. What did you do?",
     "Looks for conflict handled in the open [behavioural]."},
    {"Closing", "What would you like to know about us?",
     "Leaves room for the candidate\u2019s own questions."},
}};

json::object byTopic(bool withJustification) {
    json::object topics;
    for (const auto& entry : script) {
        json::object question{{"question", entry.question}};
        if (withJustification) {
            question["justification"] = entry.justification;
        }
        auto& list = topics[entry.topic];
        if (!list.is_array()) {
            list = json::array();
        }
        list.as_array().push_back(std::move(question));
    }
    return topics;
}

} // namespace

bool isPlannedInterview(std::string_view id) {
    constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    const bool formed = std::equal(id.begin(), id.end(), form.begin(), form.end(), [](char c, char expected) {
        return expected == '-' ? c == '-' : std::isxdigit(static_cast<unsigned char>(c)) != 0;
    });
    return formed && id.find_first_not_of("0-") != std::string_view::npos;
}

json::object interviewPlan() {
    return byTopic(false);
}
json::object interviewQuestions() {
    return byTopic(true);
}

bool isInterviewQuestion(std::string_view text) {
    return std::any_of(script.begin(), script.end(),
                       [&](const auto& entry) { return entry.question == text; });
}

std::string openingReply(std::string_view interviewId) {
    return "Starting interview " + std::string(interviewId) +
           ". The plan has five topics and seven questions \u2013 the first one is a warm-up.\n";
}

std::string unplannedReply() {
    return "There is no plan for this interview. Check the link that you were given and try again.";
}

std::string chatReply(std::string_view message) {
    return "You wrote " + std::to_string(message.size()) + " bytes: \u201c" + std::string(message) +
           "\u201d. Paste an interview link to begin.";
}

std::vector<std::string> inPieces(std::string_view text, std::size_t size) {
    std::vector<std::string> pieces;
    while (!text.empty()) {
        std::size_t count = std::min(size, text.size());
        while (count < text.size() && (static_cast<unsigned char>(text[count]) & 0xC0) == 0x80) {
            ++count;
        }
        pieces.emplace_back(text.substr(0, count));
        text.remove_prefix(count);
    }
    return pieces;
}

} // namespace sandbox
