#pragma once

#include "Platform/Core/Secret.h"
#include "Utilities/Json.h"

#include <QList>

namespace corvane {

// The records of the sign-in service's frontend API. fromJson() throws json::DecodingError when a required
// key is missing or a value has another type. Optional fields may be missing or null, and unknown keys are
// ignored. toJson() leaves absent fields out.

enum class ClerkSignInStatus { needsIdentifier, needsFirstFactor, needsSecondFactor, complete, abandoned };

struct ClerkEmailAddress {
    QString id;
    std::optional<QString> emailAddress;

    bool operator==(const ClerkEmailAddress&) const = default;
    static ClerkEmailAddress fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

struct ClerkSupportedFirstFactor {
    QString strategy;
    std::optional<QString> emailAddressId;

    bool operator==(const ClerkSupportedFirstFactor&) const = default;
    static ClerkSupportedFirstFactor fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

struct ClerkSignIn {
    QString id;
    ClerkSignInStatus status = ClerkSignInStatus::needsIdentifier;
    std::optional<QList<ClerkSupportedFirstFactor>> supportedFirstFactors;
    std::optional<QString> createdSessionId;
    std::optional<QString> identifier;

    bool operator==(const ClerkSignIn&) const = default;
    static ClerkSignIn fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

struct ClerkSession {
    QString id;
    QString status;
    std::optional<QString> userId;
    // Milliseconds since the Unix epoch.
    std::optional<qint64> lastActiveAt;

    bool operator==(const ClerkSession&) const = default;
    static ClerkSession fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

struct ClerkClientResource {
    std::optional<QString> id;
    std::optional<ClerkSignIn> signIn;
    std::optional<QList<ClerkSession>> sessions;
    std::optional<QString> lastActiveSessionId;

    bool operator==(const ClerkClientResource&) const = default;
    static ClerkClientResource fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

// The object in which most responses are wrapped.
template<typename T>
struct ClerkEnvelope {
    T response;
    std::optional<ClerkClientResource> client;

    bool operator==(const ClerkEnvelope&) const = default;
    static ClerkEnvelope fromJson(const boost::json::value& value) {
        const auto& object = json::asObject(value);
        ClerkEnvelope envelope{T::fromJson(json::requiredValue(object, "response")), std::nullopt};
        if (const auto* client = json::optionalValue(object, "client")) {
            envelope.client = ClerkClientResource::fromJson(*client);
        }
        return envelope;
    }
    boost::json::object toJson() const {
        boost::json::object object{{"response", response.toJson()}};
        if (client) {
            object["client"] = client->toJson();
        }
        return object;
    }
};

// The response to a token request, which has no envelope.
struct ClerkTokenResponse {
    platform::Secret jwt;
    std::optional<QString> object;

    bool operator==(const ClerkTokenResponse&) const = default;
    static ClerkTokenResponse fromJson(const boost::json::value& value);
    boost::json::object toJson() const;
};

// The body of an error response. what() is the message of its first item.
class ClerkAPIError : public std::runtime_error {
public:
    struct Item {
        QString code;
        QString message;
        std::optional<QString> longMessage;

        bool operator==(const Item&) const = default;
    };

    explicit ClerkAPIError(QList<Item> errors);
    const QList<Item>& errors() const { return m_errors; }
    bool hasCode(const QString& code) const;
    // Returns the HTTP status of the response, or 0 when the error did not come by HTTP.
    int status() const { return m_status; }
    void setStatus(int status) { m_status = status; }

    bool operator==(const ClerkAPIError& other) const { return m_errors == other.m_errors; }
    static ClerkAPIError fromJson(const boost::json::value& value);
    boost::json::object toJson() const;

private:
    QList<Item> m_errors;
    int m_status = 0;
};

} // namespace corvane
