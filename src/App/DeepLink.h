#pragma once

#include <QString>

#include <optional>

namespace corvane {

// The interview that corvane://interview/<id> names: the last piece of the path. Nothing for any other
// address; the scheme and the host are compared as they are written.
std::optional<QString> interviewOfLink(const QString& link);

} // namespace corvane
