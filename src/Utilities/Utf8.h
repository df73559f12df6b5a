#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace corvane {

// Strict conversions: invalid input gives nullopt instead of a replacement character, and every byte counts,
// including a byte order mark.
namespace utf8 {

std::optional<QString> decode(const QByteArray& bytes);
// Returns nullopt for a text with an unpaired surrogate.
std::optional<QByteArray> encode(const QString& text);

} // namespace utf8

} // namespace corvane
