#pragma once

#include <QString>
#include <QUrl>

#include <stdexcept>

namespace platform {
class ApplicationInfo;
}

namespace corvane {

// The instance of the sign-in service that the publishable key names.
class ClerkConfig {
public:
    // what() is the name of the kind.
    class Error : public std::runtime_error {
    public:
        enum Kind { missingPrefix, invalidBase64, missingTrailingDollar, invalidHost, missingBundleKey };
        explicit Error(Kind kind);
        Kind kind() const { return m_kind; }

    private:
        Kind m_kind;
    };

    // Parses a key: a prefix, then the base64 of the frontend host and a dollar sign. Throws Error.
    explicit ClerkConfig(const QString& publishableKey);
    // Reads CLERK_PUBLISHABLE_KEY from the application's information. Throws Error.
    static ClerkConfig fromBundle(const platform::ApplicationInfo& bundle);

    const QString& publishableKey() const { return m_publishableKey; }
    // Returns an https address that has only a host.
    const QUrl& frontendAPIURL() const { return m_frontendAPIURL; }
    // Returns whether this is a development instance, which needs a dev-browser token.
    bool isDevelopment() const { return m_isDevelopment; }

    bool operator==(const ClerkConfig&) const = default;

private:
    QString m_publishableKey;
    QUrl m_frontendAPIURL;
    bool m_isDevelopment = false;
};

} // namespace corvane
