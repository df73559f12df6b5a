#include "fuzz/Fuzzing.h"

#include "Models/InterviewModels.h"
#include "Services/WebSocketMessages.h"
#include "Utilities/Json.h"

using namespace corvane;

namespace {

void checkQuestions(const boost::json::object& object) {
    const auto questions = InterviewQuestion::parse(object);
    qsizetype planned = 0;
    for (const auto& topic : InterviewPlanTopic::parse(object)) {
        for (const auto& question : topic.questions) {
            // Both parsers must see the same questions in the same order.
            ALWAYS(planned < questions.size());
            ALWAYS(questions.at(planned).topic == topic.topic && questions.at(planned).question == question);
            ++planned;
        }
        const auto clean = topic.displayTopic();
        ALWAYS(clean.size() <= topic.topic.size() && clean == clean.trimmed());
        ALWAYS(!clean.contains(QStringLiteral("  ")));
    }
    ALWAYS(planned == questions.size());
}

} // namespace

void fuzz(const QByteArray& input) {
    const auto message = parseServerMessage(input);
    if (!message) {
        return;
    }
    ALWAYS(message->type == serverMessageType(message->rawType.toStdString()));
    // The result must not depend on how the message is written.
    const auto again = parseServerMessage(json::serializeSorted(message->object));
    ALWAYS(again && again->rawType == message->rawType && again->type == message->type);
    ALWAYS(again->object.size() == message->object.size());
    for (const auto* key : {"questions", "plan"}) {
        if (const auto* object = json::objectOrNull(message->object, key)) {
            checkQuestions(*object);
        }
    }
    const auto text = json::stringOrNullopt(message->object, "message");
    ALWAYS(text == json::stringOrNullopt(again->object, "message"));
    if (text) {
        ALWAYS(isSessionNotFound(*text) == isSessionNotFound(text->toUpper().toLower()) ||
               text->toUpper().toLower() != text->toLower());
    }
}
