#pragma once

#include "Platform/Storage/SecretStore.h"

#include <QObject>

#include <optional>

namespace corvane {

// The program's secrets, scoped by the service name. Main thread. Operations do not report the cause of a
// failure.
class KeychainService : public QObject {
    Q_OBJECT

public:
    KeychainService(QString serviceName, platform::SecretStore& store);

    // Returns nullopt when there is no such item, when it cannot be read at present, or when it is not valid
    // UTF-8.
    std::optional<platform::Secret> get(const QString& key) const;
    // Returns whether an item that get() does not return may exist all the same: the store is locked, or no
    // secret service is running at present.
    bool mayHide(const QString& key) const;
    // Returns whether the store is locked, so that the item may be readable after unlock().
    bool isLocked(const QString& key) const;
    void save(const QString& key, const platform::Secret& value);
    // Returns true when an item was deleted. ("delete" is a C++ keyword.)
    bool remove(const QString& key);
    // Makes the desktop ask the user once. unlockingEnded() follows.
    void unlock();

    const QString& serviceName() const { return m_serviceName; }

Q_SIGNALS:
    // Items that could not be read before may be readable now.
    void unlocked();
    void unlockingEnded();

private:
    QString m_serviceName;
    platform::SecretStore& m_store;
};

} // namespace corvane
