#pragma once

#include <QString>

#include <optional>

class QUrl;

namespace corvane {

// The interview that corvane://interview/<id> names: the last piece of the path. Nothing for any other
// address.
std::optional<QString> interviewOfLink(const QUrl& url);

} // namespace corvane
