#include "Views/Overlay/InterviewId.h"

namespace corvane {

namespace {

const auto uuidPattern =
    QStringLiteral("[0-9a-fA-F]{8}-[0-9a-fA-F]{4}-4[0-9a-fA-F]{3}-[89abAB][0-9a-fA-F]{3}-[0-9a-fA-F]{12}");

} // namespace

namespace interviewId {

const QRegularExpression& uuidRegex() {
    static const QRegularExpression regex(u'^' + uuidPattern + u'$');
    return regex;
}

bool isValid(const QString& text) {
    return uuidRegex().match(text.trimmed()).hasMatch();
}

std::optional<QString> extractUUID(const QString& text) {
    static const QRegularExpression unanchored(uuidPattern);
    const auto match = unanchored.match(text.trimmed());
    if (!match.hasMatch() || match.captured() == text) {
        return std::nullopt;
    }
    return match.captured();
}

} // namespace interviewId

} // namespace corvane
