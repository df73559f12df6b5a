#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <QByteArray>
#include <QString>

#include <optional>
#include <stdexcept>
#include <string_view>

namespace corvane {

// Reads and writes JSON documents whose key order and number types matter (Boost.JSON).
namespace json {

// Thrown if a record cannot be decoded. The text names the key.
class DecodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Parses UTF-8 text, with a limit on the nesting depth. Throws DecodingError.
boost::json::value parse(const QByteArray& text);
// Returns compact UTF-8.
QByteArray serialize(const boost::json::value& value);
// Returns compact UTF-8 with the keys of the top-level object in ascending order.
QByteArray serializeSorted(const boost::json::object& object);

QString toQString(std::string_view utf8);
boost::json::string toJson(const QString& text);

// Strict access: these throw DecodingError for a missing key, null or a value of another type. A number is
// not a boolean, and 1.5 is not an integer.
const boost::json::object& asObject(const boost::json::value& value);
const boost::json::array& asArray(const boost::json::value& value);
QString requiredString(const boost::json::object& object, std::string_view key);
qint64 requiredInteger(const boost::json::object& object, std::string_view key);
double requiredReal(const boost::json::object& object, std::string_view key);
bool requiredBoolean(const boost::json::object& object, std::string_view key);
const boost::json::value& requiredValue(const boost::json::object& object, std::string_view key);
// These return nullopt for a missing key and for null, and throw DecodingError for a value of another type.
std::optional<QString> optionalString(const boost::json::object& object, std::string_view key);
std::optional<qint64> optionalInteger(const boost::json::object& object, std::string_view key);
// Returns a null pointer for a missing key and for null.
const boost::json::value* optionalValue(const boost::json::object& object, std::string_view key);

// Lenient access for server messages: these return nullopt, or a null pointer, for a value of another type.
std::optional<QString> stringOrNullopt(const boost::json::object& object, std::string_view key);
const boost::json::object* objectOrNull(const boost::json::object& object, std::string_view key);

} // namespace json

} // namespace corvane
