#pragma once

#include <QString>

#include <optional>

namespace corvane {

// Returns the interview id in a link of the form corvane://interview/<id>: the last segment of its path.
// Returns nullopt for any other link. The scheme and the host are case-sensitive.
std::optional<QString> interviewIdFromLink(const QString& link);

} // namespace corvane
