#include "Models/ClerkModels.h"

#include <array>

namespace corvane {

namespace {

constexpr std::array<std::pair<ClerkSignInStatus, std::string_view>, 5> statusNames{{
    {ClerkSignInStatus::needsIdentifier, "needs_identifier"},
    {ClerkSignInStatus::needsFirstFactor, "needs_first_factor"},
    {ClerkSignInStatus::needsSecondFactor, "needs_second_factor"},
    {ClerkSignInStatus::complete, "complete"},
    {ClerkSignInStatus::abandoned, "abandoned"},
}};

ClerkSignInStatus parseStatus(const QString& text) {
    const auto name = text.toStdString();
    const auto* found = std::ranges::find(statusNames, name, &decltype(statusNames)::value_type::second);
    if (found == statusNames.end()) {
        throw json::DecodingError("unknown value for key: status");
    }
    return found->first;
}

std::string_view statusName(ClerkSignInStatus status) {
    return std::ranges::find(statusNames, status, &decltype(statusNames)::value_type::first)->second;
}

template<typename T>
QList<T> parseList(const boost::json::value& value) {
    QList<T> list;
    for (const auto& element : json::asArray(value)) {
        list.append(T::fromJson(element));
    }
    return list;
}

template<typename T>
std::optional<QList<T>> optionalList(const boost::json::object& object, std::string_view key) {
    const auto* value = json::optionalValue(object, key);
    return value ? std::optional(parseList<T>(*value)) : std::nullopt;
}

template<typename T>
boost::json::array jsonArray(const QList<T>& list) {
    boost::json::array array;
    for (const auto& element : list) {
        array.push_back(element.toJson());
    }
    return array;
}

void setIfPresent(boost::json::object& object, std::string_view key, const std::optional<QString>& text) {
    if (text) {
        object[key] = json::toJson(*text);
    }
}

} // namespace

ClerkEmailAddress ClerkEmailAddress::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {json::requiredString(object, "id"), json::optionalString(object, "email_address")};
}

boost::json::object ClerkEmailAddress::toJson() const {
    boost::json::object object{{"id", json::toJson(id)}};
    setIfPresent(object, "email_address", emailAddress);
    return object;
}

ClerkSupportedFirstFactor ClerkSupportedFirstFactor::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {json::requiredString(object, "strategy"), json::optionalString(object, "email_address_id")};
}

boost::json::object ClerkSupportedFirstFactor::toJson() const {
    boost::json::object object{{"strategy", json::toJson(strategy)}};
    setIfPresent(object, "email_address_id", emailAddressId);
    return object;
}

ClerkSignIn ClerkSignIn::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {json::requiredString(object, "id"), parseStatus(json::requiredString(object, "status")),
            optionalList<ClerkSupportedFirstFactor>(object, "supported_first_factors"),
            json::optionalString(object, "created_session_id"), json::optionalString(object, "identifier")};
}

boost::json::object ClerkSignIn::toJson() const {
    boost::json::object object{{"id", json::toJson(id)}, {"status", statusName(status)}};
    if (supportedFirstFactors) {
        object["supported_first_factors"] = jsonArray(*supportedFirstFactors);
    }
    setIfPresent(object, "created_session_id", createdSessionId);
    setIfPresent(object, "identifier", identifier);
    return object;
}

ClerkSession ClerkSession::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {json::requiredString(object, "id"), json::requiredString(object, "status"),
            json::optionalString(object, "user_id"), json::optionalInteger(object, "last_active_at")};
}

boost::json::object ClerkSession::toJson() const {
    boost::json::object object{{"id", json::toJson(id)}, {"status", json::toJson(status)}};
    setIfPresent(object, "user_id", userId);
    if (lastActiveAt) {
        object["last_active_at"] = *lastActiveAt;
    }
    return object;
}

ClerkClientResource ClerkClientResource::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    const auto* signIn = json::optionalValue(object, "sign_in");
    return {json::optionalString(object, "id"),
            signIn ? std::optional(ClerkSignIn::fromJson(*signIn)) : std::nullopt,
            optionalList<ClerkSession>(object, "sessions"),
            json::optionalString(object, "last_active_session_id")};
}

boost::json::object ClerkClientResource::toJson() const {
    boost::json::object object;
    setIfPresent(object, "id", id);
    if (signIn) {
        object["sign_in"] = signIn->toJson();
    }
    if (sessions) {
        object["sessions"] = jsonArray(*sessions);
    }
    setIfPresent(object, "last_active_session_id", lastActiveSessionId);
    return object;
}

ClerkTokenResponse ClerkTokenResponse::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {platform::Secret(json::requiredString(object, "jwt")), json::optionalString(object, "object")};
}

boost::json::object ClerkTokenResponse::toJson() const {
    boost::json::object result{{"jwt", json::toJson(jwt.reveal())}};
    setIfPresent(result, "object", object);
    return result;
}

ClerkAPIError::ClerkAPIError(QList<Item> errors)
    : std::runtime_error(errors.isEmpty() ? "The sign-in service refused the request."
                                          : errors.first().message.toStdString())
    , m_errors(std::move(errors)) {}

bool ClerkAPIError::hasCode(const QString& code) const {
    return std::ranges::any_of(m_errors, [&](const Item& item) { return item.code == code; });
}

ClerkAPIError ClerkAPIError::fromJson(const boost::json::value& value) {
    QList<Item> items;
    for (const auto& element : json::asArray(json::requiredValue(json::asObject(value), "errors"))) {
        const auto& object = json::asObject(element);
        items.append({json::requiredString(object, "code"), json::requiredString(object, "message"),
                      json::optionalString(object, "long_message")});
    }
    return ClerkAPIError(std::move(items));
}

boost::json::object ClerkAPIError::toJson() const {
    boost::json::array items;
    for (const auto& item : m_errors) {
        boost::json::object object{{"code", json::toJson(item.code)},
                                   {"message", json::toJson(item.message)}};
        setIfPresent(object, "long_message", item.longMessage);
        items.push_back(std::move(object));
    }
    return {{"errors", std::move(items)}};
}

} // namespace corvane
