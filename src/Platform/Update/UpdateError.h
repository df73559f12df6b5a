#pragma once

#include <QString>

#include <stdexcept>

namespace platform {

// Why an update cannot be found, fetched or installed: a domain, a code and a sentence for the user.
class UpdateError : public std::runtime_error {
public:
    static constexpr auto updaterDomain = "SUSparkleErrorDomain";

    // Codes of updaterDomain.
    enum Code {
        noPublicKey = 1,
        insecureAddress = 3,
        invalidFeedAddress = 4,
        unreadableFeed = 1000,
        noUpdate = 1001,
        feedNotFetched = 1002,
        downloadFailed = 2001,
        badSignature = 3001,
        badPackage = 3002,
        installationFailed = 4005,
        cancelled = 4007,
    };

    UpdateError(int code, const QString& text, QString domain = QString::fromLatin1(updaterDomain))
        : std::runtime_error(text.toStdString())
        , m_code(code)
        , m_domain(std::move(domain)) {}

    int code() const { return m_code; }
    const QString& domain() const { return m_domain; }
    QString localizedDescription() const { return QString::fromUtf8(what()); }

private:
    int m_code;
    QString m_domain;
};

} // namespace platform
