#include "Models/InterviewModels.h"

#include "Utilities/Json.h"

#include <QRegularExpression>

#include <array>

namespace corvane {

namespace {

constexpr std::array<const char*, 7> interviewStatusNames{
    "idle", "waitingForQuestions", "startingAudio", "connecting", "streaming", "paused", "error"};

// The elements of a topic; nothing unless it is an array of objects throughout.
const boost::json::array* questionObjects(const boost::json::value& value) {
    const auto* elements = value.if_array();
    const bool usable =
        elements && std::ranges::all_of(*elements, [](const auto& element) { return element.is_object(); });
    return usable ? elements : nullptr;
}

} // namespace

QString rawValue(InterviewStatus status) {
    return QString::fromLatin1(interviewStatusNames[static_cast<size_t>(status)]);
}

QList<InterviewQuestion> InterviewQuestion::parse(const boost::json::object& object) {
    QList<InterviewQuestion> result;
    for (const auto& [topic, value] : object) {
        const auto* elements = questionObjects(value);
        if (!elements) {
            continue;
        }
        for (const auto& element : *elements) {
            const auto question = json::stringOrNullopt(element.get_object(), "question");
            if (question) {
                const auto justification = json::stringOrNullopt(element.get_object(), "justification");
                result.append({.topic = json::toQString(topic),
                               .question = *question,
                               .justification = justification.value_or(QString())});
            }
        }
    }
    return result;
}

QList<InterviewPlanTopic> InterviewPlanTopic::parse(const boost::json::object& object) {
    QList<InterviewPlanTopic> result;
    for (const auto& [topic, value] : object) {
        const auto* elements = questionObjects(value);
        if (!elements) {
            continue;
        }
        InterviewPlanTopic entry;
        entry.topic = json::toQString(topic);
        for (const auto& element : *elements) {
            if (const auto question = json::stringOrNullopt(element.get_object(), "question")) {
                entry.questions.append(*question);
            }
        }
        result.append(std::move(entry));
    }
    return result;
}

QString InterviewQuestion::cleanDisplayText(const QString& text) {
    // Unicode properties: the no-break spaces that people paste are white space too.
    constexpr auto unicode = QRegularExpression::UseUnicodePropertiesOption;
    // A run of blanks is tried from its beginning only: where expressions are interpreted, not compiled, the
    // time for a long one would grow with its square.
    static const QRegularExpression bracketedNote(QStringLiteral(R"((?<!\s)\s*+\[[^\]]*+\])"), unicode);
    static const QRegularExpression emptyParentheses(QStringLiteral(R"((?<!\s)\s*+\(\s*+\))"), unicode);
    static const QRegularExpression blanks(QStringLiteral(R"(\s{2,})"), unicode);
    auto clean = text;
    clean.remove(bracketedNote).remove(emptyParentheses).replace(blanks, QStringLiteral(" "));
    return clean.trimmed();
}

} // namespace corvane
