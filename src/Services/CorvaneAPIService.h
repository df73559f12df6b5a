#pragma once

#include "Platform/Core/OperationScope.h"
#include "Platform/Network/HttpClient.h"

#include <QObject>
#include <QPointer>

#include <stdexcept>

namespace corvane {

class ClerkAuthService;

class APIError : public std::runtime_error {
public:
    enum Kind { httpError, invalidConfiguration, unauthorized };

    // `status` is used by httpError only.
    explicit APIError(Kind kind, int status = 0);
    Kind kind() const { return m_kind; }
    int status() const { return m_status; }
    bool operator==(const APIError& other) const {
        return m_kind == other.m_kind && m_status == other.m_status;
    }

private:
    Kind m_kind;
    int m_status;
};

// The backend's REST interface: makes sure that a session for this machine exists there. Main thread.
class CorvaneAPIService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString baseURL READ baseURL WRITE setBaseURL NOTIFY baseURLChanged)

public:
    // `machineId` identifies this machine and is the same for the life of the installation (see
    // App/MachineId.h).
    CorvaneAPIService(QString baseURL, ClerkAuthService* auth, platform::HttpClient& http, QString machineId);

    const QString& baseURL() const { return m_baseURL; }
    void setBaseURL(const QString& baseURL);

    QString getMachineId() const { return m_machineId; }
    // Throws APIError, platform::HttpError, or whatever ClerkAuthService::getFreshJWT() throws.
    QCoro::Task<void> ensureMachineSession() { return ensureMachineSession(m_baseURL); }
    // Does the same on a backend other than baseURL(), for a connection that still leads there.
    QCoro::Task<void> ensureMachineSession(QString baseURL);

Q_SIGNALS:
    void baseURLChanged();

private:
    QCoro::Task<platform::HttpRequest> makeRequest(QString baseURL, QString path, QByteArray method,
                                                   QByteArray body, QByteArray contentType);
    QCoro::Task<int> attempt(QString baseURL, QByteArray body);

    QString m_baseURL;
    QPointer<ClerkAuthService> m_auth;
    platform::HttpClient& m_http;
    platform::OperationScope m_scope;
    QString m_machineId;
};

} // namespace corvane
