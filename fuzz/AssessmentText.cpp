#include "fuzz/Fuzzing.h"

#include "Views/Overlay/AssistantCardsModel.h"

using namespace corvane;

namespace {

QString withoutBlanks(const QString& text) {
    QString result;
    std::ranges::copy_if(text, std::back_inserter(result), [](QChar c) { return !c.isSpace(); });
    return result;
}

} // namespace

// The first line of the input determines how the rest is cut into pieces.
void fuzz(const QByteArray& input) {
    const TwoParts parts(input);
    const auto text = QString::fromUtf8(parts.rest);
    const auto sections = parseAssessmentSections(text);

    // Only the headers may disappear.
    QString shown;
    for (const auto& section : sections) {
        ALWAYS(!section.text.isEmpty() && section.text == section.text.trimmed());
        shown += section.text;
    }
    QString expected;
    for (const auto& line : text.split(u'\n')) {
        expected += sectionHeaderType(line).isEmpty() ? line : QString();
    }
    ALWAYS(withoutBlanks(shown) == withoutBlanks(expected));

    if (text.size() > 8000) {
        return; // such a text is shown in several cards, without the blanks between them
    }
    AssistantCardsModel model;
    inPieces(text, parts.first, [&](const QString& piece) { model.append(piece); });
    ALWAYS(model.assessmentSections() == sections);
}
