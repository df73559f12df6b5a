#include "sandbox/ChatProvider.h"

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace sandbox {

namespace json = boost::json;

namespace {

HttpReply providerRefusal(int status, std::string_view reason) {
    return HttpReply::json(status, json::serialize(json::object{{"error", {{"message", reason}}}}));
}

// Returns an empty string for a missing value or one of another type.
std::string textIn(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    const auto* text = value == nullptr ? nullptr : value->if_string();
    return text == nullptr ? std::string() : std::string(*text);
}

// Returns the last message if the body has exactly the form of such a request: no history, and at most a
// system prompt.
std::string questionIn(const json::object& body) {
    const auto* messages = body.if_contains("messages");
    const auto* list = messages == nullptr ? nullptr : messages->if_array();
    if (body.size() != 3 || textIn(body, "model").empty() || list == nullptr || list->empty() ||
        list->size() > 2) {
        return {};
    }
    const auto* last = list->back().if_object();
    return last != nullptr && textIn(*last, "role") == "user" ? textIn(*last, "content") : std::string();
}

std::string event(const json::object& delta) {
    const json::object object{{"object", "chat.completion.chunk"},
                              {"choices", json::array{json::object{{"index", 0}, {"delta", delta}}}}};
    return "data: " + json::serialize(object) + "\n\n";
}

} // namespace

HttpReply answerChat(const HttpRequest& request, std::chrono::milliseconds pace, Ledger& ledger) {
    if (request.method != "POST") {
        return providerRefusal(405, "POST only");
    }
    boost::system::error_code error;
    const auto body = json::parse(request.body, error);
    const auto* object = error ? nullptr : body.if_object();
    const auto question = object == nullptr ? std::string() : questionIn(*object);
    const auto* stream = object == nullptr ? nullptr : object->if_contains("stream");
    const auto* type = request.header("content-type");
    if (question.empty() || stream == nullptr || !stream->is_bool() || type == nullptr ||
        *type != "application/json") {
        ledger.violation("chat completion whose type or body is not as it must be");
        return providerRefusal(422, "Malformed request");
    }
    const auto answer = "To “" + question + "”: ask for one example, and how it turned out.";
    if (!stream->as_bool()) {
        return HttpReply::json(
            200, json::serialize(json::object{{"choices", {{{"message", {{"content", answer}}}}}}}));
    }
    HttpReply reply;
    reply.headers = {{"Content-Type", "text/event-stream"}};
    reply.pace = pace;
    reply.pieces.push_back(event({{"role", "assistant"}, {"content", ""}}));
    for (std::size_t at = 0; at < answer.size();) {
        const auto blank = answer.find(' ', at);
        const auto end = blank == std::string::npos ? answer.size() : blank + 1;
        reply.pieces.push_back(event({{"content", answer.substr(at, end - at)}}));
        at = end;
    }
    reply.pieces.push_back(": the end\n\ndata: [DONE]\n\n");
    return reply;
}

} // namespace sandbox
