#pragma once

#include "Platform/Storage/SecretStore.h"

#include <QObject>

#include <optional>

namespace corvane {

// The program's secrets, scoped by the service name. Main thread. No operation reports a cause.
class KeychainService : public QObject {
    Q_OBJECT

public:
    KeychainService(QString serviceName, platform::SecretStore& store);

    // Nothing when there is no item, it cannot be read now, or it is no valid UTF-8.
    std::optional<platform::Secret> get(const QString& key) const;
    // Whether what get() does not give may still be there: the store is locked, or no secret service runs
    // now.
    bool mayHide(const QString& key) const;
    // Whether the store is locked, and what get() does not give may be readable after unlock().
    bool isLocked(const QString& key) const;
    void save(const QString& key, const platform::Secret& value);
    // True when an item was deleted. ("delete" is a keyword.)
    bool remove(const QString& key);
    // Has the desktop ask the user, once; unlockingEnded() follows.
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
