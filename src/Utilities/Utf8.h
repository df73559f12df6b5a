#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace corvane {

// Strict conversions: nothing instead of a replacement character, and every byte counts, a byte order mark
// too.
namespace utf8 {

std::optional<QString> decode(const QByteArray& bytes);
// Nothing for a text with half a surrogate pair.
std::optional<QByteArray> encode(const QString& text);

} // namespace utf8

} // namespace corvane
