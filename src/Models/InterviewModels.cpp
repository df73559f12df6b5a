#include "Models/InterviewModels.h"

#include "Utilities/Json.h"

#include <QRegularExpression>

#include <array>

namespace corvane {

namespace {

constexpr std::array<const char*, 7> interviewStatusNames{
    "idle", "waitingForQuestions", "startingAudio", "connecting", "streaming", "paused", "error"};

// Returns the elements of a topic, or null unless the value is an array of objects throughout.
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
    // With Unicode properties, \s also matches the no-break spaces that people paste.
    constexpr auto unicode = QRegularExpression::UseUnicodePropertiesOption;
    // The lookbehind lets a match start only at the beginning of a run of blanks. Without it, an expression
    // that is interpreted and not compiled would take quadratic time on a long run.
    static const QRegularExpression bracketedNote(QStringLiteral(R"((?<!\s)\s*+\[[^\]]*+\])"), unicode);
    static const QRegularExpression emptyParentheses(QStringLiteral(R"((?<!\s)\s*+\(\s*+\))"), unicode);
    static const QRegularExpression blanks(QStringLiteral(R"(\s{2,})"), unicode);
    auto clean = text;
    clean.remove(bracketedNote).remove(emptyParentheses).replace(blanks, QStringLiteral(" "));
    return clean.trimmed();
}

} // namespace corvane
