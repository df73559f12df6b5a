#pragma once

#include "Platform/Core/Secret.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace platform {

// Small secrets of the user, scoped by a service name, kept by the desktop's secret service. Main thread.
class SecretStore : public QObject {
    Q_OBJECT

public:
    enum class Status {
        ok,
        notFound,
        // The store is there, but its collection is locked: nothing is lost, read again after unlocked().
        locked,
        // The user or the service said no.
        refused,
        // No secret service on this desktop: values live in memory until the process ends.
        absent,
    };
    Q_ENUM(Status)

    struct Reading {
        Status status = Status::notFound;
        // Raw bytes: the store holds any. Present when status is ok, or from memory when absent.
        std::optional<QByteArray> value;
    };

    // What is soon to be read, so that nobody waits for it then: each of these is looked up now and answers
    // one read.
    virtual void readAhead(const QString&, const QStringList&) {}
    // Never prompts and never waits longer than a few seconds.
    virtual Reading read(const QString& service, const QString& name) = 0;
    // Replaces. A locked collection is unlocked by one prompt for all writes of one action; until then the
    // value is served from memory.
    virtual Status write(const QString& service, const QString& name, const QByteArray& value) = 0;
    // ok when an item was there.
    virtual Status erase(const QString& service, const QString& name) = 0;
    // Asks the user to unlock the collection, by one prompt of the desktop; unlockingEnded() tells that it
    // was answered.
    virtual void unlock() = 0;

Q_SIGNALS:
    // The collection was unlocked, or the service came (back): what could not be read before may be readable
    // now.
    void unlocked();
    // The prompt of unlock() was answered, or could not be shown. After unlocked(), if that comes of it.
    void unlockingEnded();
};

// The Secret Service of the session bus, by libsecret.
std::unique_ptr<SecretStore> makeSecretServiceStore();

} // namespace platform
