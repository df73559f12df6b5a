#pragma once

#include <QList>
#include <QString>

namespace corvane {

// A section of the assessment.
struct AssessmentSection {
    enum Kind { overview, comment, recommendation };

    Kind kind = overview;
    QString text;

    bool operator==(const AssessmentSection&) const = default;
};

enum class AssistantTone { neutral, green, orange };

// The appearance of a section's card.
struct AssessmentCard {
    const char* title;
    const char* symbol;
    AssistantTone tone;
};
const AssessmentCard& assessmentCard(AssessmentSection::Kind kind);
// Returns the name of the colour of Theme for a tone.
QString colorRole(AssistantTone tone);

// Returns "comment" or "recommendation" when the line is a header, and an empty text otherwise.
QString sectionHeaderType(QStringView line);
AssessmentSection::Kind sectionKind(const QString& headerType);

QList<AssessmentSection> parseAssessmentSections(const QString& assessmentText);

} // namespace corvane
