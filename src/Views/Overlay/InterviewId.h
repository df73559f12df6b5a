#pragma once

#include <QRegularExpression>
#include <QString>

#include <optional>

namespace corvane {

// The form of an interview id: a UUID of version 4, in either case.
namespace interviewId {

// Anchored at both ends.
const QRegularExpression& uuidRegex();

// The text without blanks and line breaks at its ends is an id, all of it.
bool isValid(const QString& text);

// The id to put in the place of a pasted text: the first that it holds. Nothing when there is none, or when
// the text is the bare id already.
std::optional<QString> extractUUID(const QString& text);

} // namespace interviewId

} // namespace corvane
