#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <QByteArray>
#include <QString>

#include <optional>
#include <stdexcept>
#include <string_view>

namespace corvane {

// Reading and writing of JSON documents whose order and number kinds matter (Boost.JSON).
namespace json {

// A strict record could not be read. The text names the key.
class DecodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// UTF-8 text to a document, nesting bounded. Throws DecodingError.
boost::json::value parse(const QByteArray& text);
// Compact UTF-8.
QByteArray serialize(const boost::json::value& value);
// Compact UTF-8 with the keys of the top-level object in ascending order.
QByteArray serializeSorted(const boost::json::object& object);

QString toQString(std::string_view utf8);
boost::json::string toJson(const QString& text);

// Strict access: a missing key, null or a value of another kind throws DecodingError. A number is no
// boolean, 1.5 is no integer.
const boost::json::object& asObject(const boost::json::value& value);
const boost::json::array& asArray(const boost::json::value& value);
QString requiredString(const boost::json::object& object, std::string_view key);
qint64 requiredInteger(const boost::json::object& object, std::string_view key);
double requiredReal(const boost::json::object& object, std::string_view key);
bool requiredBoolean(const boost::json::object& object, std::string_view key);
const boost::json::value& requiredValue(const boost::json::object& object, std::string_view key);
// Missing and null are absent; another kind throws.
std::optional<QString> optionalString(const boost::json::object& object, std::string_view key);
std::optional<qint64> optionalInteger(const boost::json::object& object, std::string_view key);
// Null for missing and null.
const boost::json::value* optionalValue(const boost::json::object& object, std::string_view key);

// Lenient access for server messages: anything but a string (object) is absent.
std::optional<QString> stringOrNullopt(const boost::json::object& object, std::string_view key);
const boost::json::object* objectOrNull(const boost::json::object& object, std::string_view key);

} // namespace json

} // namespace corvane
