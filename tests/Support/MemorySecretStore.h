#pragma once

#include "SecretStore.h"

#include <QMap>

// A secret store in memory whose condition a test sets. What stands in `items` is what a desktop would keep.
class MemorySecretStore : public platform::SecretStore {
    Q_OBJECT

public:
    using Key = QPair<QString, QString>; // service, name

    Reading read(const QString& service, const QString& name) override;
    Status write(const QString& service, const QString& name, const QByteArray& value) override;
    Status erase(const QString& service, const QString& name) override;

    // ok, locked, refused or absent. From locked or absent to ok what waited in memory is carried out and
    // unlocked() is emitted.
    void setCondition(Status condition);

    // Past the condition.
    QMap<Key, QByteArray> items;
    // Every call of write() and erase(), in order: "write name" or "erase name".
    QStringList calls;

private:
    Status m_condition = Status::ok;
    // Written, or without a value erased, while the store was locked or absent.
    QMap<Key, std::optional<QByteArray>> m_waiting;
};
