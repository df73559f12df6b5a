#pragma once

#include <QString>
#include <QUrl>

#include <stdexcept>

namespace platform {
class ApplicationInfo;
}

namespace corvane {

// The sign-in service's instance, as its publishable key names it.
class ClerkConfig {
public:
    // what() is the name of the case.
    class Error : public std::runtime_error {
    public:
        enum Kind { missingPrefix, invalidBase64, missingTrailingDollar, invalidHost, missingBundleKey };
        explicit Error(Kind kind);
        Kind kind() const { return m_kind; }

    private:
        Kind m_kind;
    };

    // A prefix, then the base64 of the frontend host and a dollar sign. Throws Error.
    explicit ClerkConfig(const QString& publishableKey);
    // From CLERK_PUBLISHABLE_KEY of the application's information. Throws Error.
    static ClerkConfig fromBundle(const platform::ApplicationInfo& bundle);

    const QString& publishableKey() const { return m_publishableKey; }
    // https and the host, without a path.
    const QUrl& frontendAPIURL() const { return m_frontendAPIURL; }
    // Development instances need a dev-browser token.
    bool isDevelopment() const { return m_isDevelopment; }

    bool operator==(const ClerkConfig&) const = default;

private:
    QString m_publishableKey;
    QUrl m_frontendAPIURL;
    bool m_isDevelopment = false;
};

} // namespace corvane
