#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// How a setting is written in its file: true, 85, 0.5, dark, "text that needs quotes", {"json":"as it is"},
// @base64(other bytes). The form determines the type.
namespace platform::defaultstext {

QString fromString(const QString& value);
QString fromBoolean(bool value);
QString fromInteger(qint64 value);
QString fromReal(double value);
QString fromData(const QByteArray& value);

// These return nullopt if the text has the form of another type. A whole number also counts as a real.
std::optional<QString> toString(const QString& text);
std::optional<bool> toBoolean(const QString& text);
std::optional<qint64> toInteger(const QString& text);
std::optional<double> toReal(const QString& text);
std::optional<QByteArray> toData(const QString& text);

} // namespace platform::defaultstext
