#pragma once

#include <QList>
#include <QString>

namespace corvane {

// A titled part of the assessment.
struct AssessmentSection {
    enum Kind { overview, comment, recommendation };

    Kind kind = overview;
    QString text;

    bool operator==(const AssessmentSection&) const = default;
};

enum class AssistantTone { neutral, green, orange };

// How the card of a section looks.
struct AssessmentCard {
    const char* title;
    const char* symbol;
    AssistantTone tone;
};
const AssessmentCard& assessmentCard(AssessmentSection::Kind kind);
// A role of the theme.
QString colorRole(AssistantTone tone);

// "comment" or "recommendation" for a line that is a header, else empty.
QString sectionHeaderType(QStringView line);
AssessmentSection::Kind sectionKind(const QString& headerType);

QList<AssessmentSection> parseAssessmentSections(const QString& assessmentText);

} // namespace corvane
