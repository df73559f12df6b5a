#pragma once

#include <QRegularExpression>
#include <QString>

#include <optional>

namespace corvane {

// An interview id is a UUID of version 4, in upper or lower case.
namespace interviewId {

// Returns the expression, which is anchored at both ends.
const QRegularExpression& uuidRegex();

// Returns whether the text, without white space at its ends, is an id.
bool isValid(const QString& text);

// Returns the first id in a pasted text, which is to replace that text. Returns nullopt when there is none,
// and when the text is already a bare id.
std::optional<QString> extractUUID(const QString& text);

} // namespace interviewId

} // namespace corvane
