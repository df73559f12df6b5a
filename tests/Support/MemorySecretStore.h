#pragma once

#include "SecretStore.h"

#include <QMap>

// A secret store in memory whose condition a test sets. What stands in `items` is what a desktop would keep.
class MemorySecretStore : public platform::SecretStore {
    Q_OBJECT

public:
    Reading read(const QString& service, const QString& name) override;
    Status write(const QString& service, const QString& name, const QByteArray& value) override;
    Status erase(const QString& service, const QString& name) override;

    // ok, locked, refused or absent. From locked or absent to ok the values held in memory are stored and
    // unlocked() is emitted.
    void setCondition(Status condition);

    // Past the condition: the stored items by service and name.
    using Key = QPair<QString, QString>;
    QMap<Key, QByteArray> items;
    // Every call of write() and erase(), in order: "write name" or "erase name".
    QStringList calls;

private:
    Status m_condition = Status::ok;
    // Written while the store was locked or absent.
    QMap<Key, QByteArray> m_memory;
};
