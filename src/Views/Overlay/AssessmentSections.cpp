#include "Views/Overlay/AssessmentSections.h"

#include <array>

namespace corvane {

namespace {

constexpr std::array cards{
    AssessmentCard{"Assessment", "text.bubble", AssistantTone::neutral},
    AssessmentCard{"Comment", "text.bubble", AssistantTone::neutral},
    AssessmentCard{"Recommendation", "arrow.right.circle.fill", AssistantTone::green},
};

constexpr std::array headers{QLatin1String("comment"), QLatin1String("recommendation")};
constexpr qsizetype longestHeader = 15; // with its colon

} // namespace

const AssessmentCard& assessmentCard(AssessmentSection::Kind kind) {
    return cards.at(static_cast<size_t>(kind));
}

QString colorRole(AssistantTone tone) {
    constexpr std::array roles{"secondary", "green", "orange"};
    return QLatin1String(roles.at(static_cast<size_t>(tone)));
}

QString sectionHeaderType(QStringView line) {
    QString letters;
    for (const auto character : line.trimmed()) {
        if (character == u'*') {
            continue;
        }
        // Most lines are longer than any header: reading stops here, whatever their length.
        if (letters.size() == longestHeader) {
            return {};
        }
        letters += character.toLower();
    }
    for (const auto header : headers) {
        if (letters == header ||
            (letters.size() == header.size() + 1 && letters.startsWith(header) && letters.endsWith(u':'))) {
            return header;
        }
    }
    return {};
}

AssessmentSection::Kind sectionKind(const QString& headerType) {
    if (headerType.isEmpty()) {
        return AssessmentSection::overview;
    }
    return headerType == headers.front() ? AssessmentSection::comment : AssessmentSection::recommendation;
}

QList<AssessmentSection> parseAssessmentSections(const QString& assessmentText) {
    QList<AssessmentSection> sections;
    QString type;
    QStringList lines;
    const auto flush = [&] {
        const auto text = lines.join(u'\n').trimmed();
        if (!text.isEmpty()) {
            sections.append({sectionKind(type), text});
            lines.clear();
        }
    };
    for (const auto& line : assessmentText.trimmed().split(u'\n')) {
        const auto header = sectionHeaderType(line);
        if (header.isEmpty()) {
            lines.append(line);
        } else {
            flush();
            type = header;
        }
    }
    flush();
    return sections;
}

} // namespace corvane
