#pragma once

#include "Platform/Core/Secret.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace platform {

// Keeps the user's secrets in the desktop's secret service, scoped by a service name. Main thread.
class SecretStore : public QObject {
    Q_OBJECT

public:
    enum class Status {
        ok,
        notFound,
        // The store is available but its collection is locked: nothing is lost; read again after unlocked().
        locked,
        // The user or the service refused.
        refused,
        // There is no secret service on this desktop: values are kept in memory until the process ends.
        absent,
    };
    Q_ENUM(Status)

    struct Reading {
        Status status = Status::notFound;
        // Raw bytes. Present if the status is ok, or from memory if it is absent.
        std::optional<QByteArray> value;
    };

    // Starts to look up values that will soon be read, so that the reads do not wait. Each lookup answers one
    // read.
    virtual void readAhead(const QString&, const QStringList&) {}
    // Reads a value. Never prompts, and never waits longer than a few seconds.
    virtual Reading read(const QString& service, const QString& name) = 0;
    // Writes a value, replacing an existing one. A locked collection is unlocked by one prompt for all writes
    // of one action; until then the value is served from memory.
    virtual Status write(const QString& service, const QString& name, const QByteArray& value) = 0;
    // Deletes a value. Returns ok if it existed.
    virtual Status erase(const QString& service, const QString& name) = 0;
    // Asks the user, by one prompt of the desktop, to unlock the collection. unlockingEnded() follows the
    // answer.
    virtual void unlock() = 0;

Q_SIGNALS:
    // The collection was unlocked, or the service is available (again): values that could not be read before
    // may be readable now.
    void unlocked();
    // The prompt of unlock() was answered, or could not be shown. Emitted after unlocked() if the collection
    // was unlocked.
    void unlockingEnded();
};

// Uses the Secret Service of the session bus, by libsecret.
std::unique_ptr<SecretStore> makeSecretServiceStore();

} // namespace platform
