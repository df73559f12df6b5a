#include "Utilities/Json.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <cmath>

namespace corvane {

namespace json {

namespace {

constexpr std::size_t maxDepth = 64;

[[noreturn]] void fail(const char* what, std::string_view key) {
    throw DecodingError(std::string(what) + ": " + std::string(key));
}

template<typename Get>
auto required(const boost::json::object& object, std::string_view key, Get get) {
    const auto* value = object.if_contains(key);
    if (!value) {
        fail("missing key", key);
    }
    const auto found = get(*value);
    if (!found) {
        fail("wrong type for key", key);
    }
    return *found;
}

template<typename Get>
auto optional(const boost::json::object& object, std::string_view key, Get get)
    -> decltype(get(boost::json::value())) {
    const auto* value = object.if_contains(key);
    if (!value || value->is_null()) {
        return std::nullopt;
    }
    auto found = get(*value);
    if (!found) {
        fail("wrong type for key", key);
    }
    return found;
}

std::optional<QString> asString(const boost::json::value& value) {
    const auto* text = value.if_string();
    return text ? std::optional(toQString(*text)) : std::nullopt;
}

// A whole number may also be written with a fraction of zero or an exponent.
std::optional<qint64> asInteger(const boost::json::value& value) {
    boost::system::error_code error;
    const auto number = value.is_number() ? value.to_number<qint64>(error) : 0;
    return value.is_number() && !error ? std::optional(number) : std::nullopt;
}

std::optional<double> asReal(const boost::json::value& value) {
    const auto number = value.is_number() ? value.to_number<double>() : std::nan("");
    return std::isnan(number) ? std::nullopt : std::optional(number); // Boost.JSON reads 0e310 as NaN
}

std::optional<bool> asBoolean(const boost::json::value& value) {
    const auto* flag = value.if_bool();
    return flag ? std::optional(*flag) : std::nullopt;
}

} // namespace

boost::json::value parse(const QByteArray& text) {
    boost::json::parse_options options;
    options.max_depth = maxDepth;
    boost::system::error_code error;
    auto value = boost::json::parse(std::string_view(text.constData(), static_cast<size_t>(text.size())),
                                    error, {}, options);
    if (error) {
        throw DecodingError("not a JSON document: " + error.message());
    }
    return value;
}

QByteArray serialize(const boost::json::value& value) {
    return QByteArray::fromStdString(boost::json::serialize(value));
}

QByteArray serializeSorted(const boost::json::object& object) {
    std::vector<std::string_view> keys;
    for (const auto& member : object) {
        keys.push_back(member.key());
    }
    std::ranges::sort(keys);
    boost::json::object sorted;
    for (const auto key : keys) {
        sorted[key] = object.at(key);
    }
    return json::serialize(boost::json::value(std::move(sorted)));
}

QString toQString(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

boost::json::string toJson(const QString& text) {
    const auto utf8 = text.toUtf8();
    return boost::json::string(utf8.constData(), static_cast<size_t>(utf8.size()));
}

const boost::json::object& asObject(const boost::json::value& value) {
    if (const auto* object = value.if_object()) {
        return *object;
    }
    throw DecodingError("not an object");
}

const boost::json::array& asArray(const boost::json::value& value) {
    if (const auto* array = value.if_array()) {
        return *array;
    }
    throw DecodingError("not an array");
}

QString requiredString(const boost::json::object& object, std::string_view key) {
    return required(object, key, asString);
}

qint64 requiredInteger(const boost::json::object& object, std::string_view key) {
    return required(object, key, asInteger);
}

double requiredReal(const boost::json::object& object, std::string_view key) {
    return required(object, key, asReal);
}

bool requiredBoolean(const boost::json::object& object, std::string_view key) {
    return required(object, key, asBoolean);
}

const boost::json::value& requiredValue(const boost::json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    if (!value) {
        fail("missing key", key);
    }
    return *value;
}

std::optional<QString> optionalString(const boost::json::object& object, std::string_view key) {
    return optional(object, key, asString);
}

std::optional<qint64> optionalInteger(const boost::json::object& object, std::string_view key) {
    return optional(object, key, asInteger);
}

const boost::json::value* optionalValue(const boost::json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value && !value->is_null() ? value : nullptr;
}

std::optional<QString> stringOrNullopt(const boost::json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value ? asString(*value) : std::nullopt;
}

const boost::json::object* objectOrNull(const boost::json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    return value ? value->if_object() : nullptr;
}

} // namespace json

} // namespace corvane
