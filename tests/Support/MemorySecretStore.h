#pragma once

#include "Platform/Storage/SecretStore.h"

#include <QMap>

// A secret store in memory whose condition a test sets. `items` holds what a desktop would keep.
class MemorySecretStore : public platform::SecretStore {
    Q_OBJECT

public:
    using Key = QPair<QString, QString>; // service, name

    Reading read(const QString& service, const QString& name) override {
        const Key key(service, name);
        if (m_condition == Status::absent) {
            return {Status::absent, m_waiting.value(key)};
        }
        if (m_condition == Status::locked && m_waiting.contains(key)) {
            return {m_waiting[key] ? Status::ok : Status::notFound, m_waiting[key]};
        }
        if (m_condition != Status::ok) {
            return {m_condition, std::nullopt};
        }
        const auto found = items.constFind(key);
        return found == items.cend() ? Reading{} : Reading{Status::ok, *found};
    }

    Status write(const QString& service, const QString& name, const QByteArray& value) override {
        calls.append("write " + name);
        if (m_condition == Status::ok) {
            items[Key(service, name)] = value;
        } else if (m_condition != Status::refused) {
            m_waiting[Key(service, name)] = value;
        }
        return m_condition == Status::locked ? Status::ok : m_condition;
    }

    Status erase(const QString& service, const QString& name) override {
        calls.append("erase " + name);
        const Key key(service, name);
        const auto status = read(service, name).status;
        if (m_condition == Status::ok) {
            items.remove(key);
        } else if (m_condition != Status::refused) {
            const bool waited = std::exchange(m_waiting[key], std::nullopt).has_value();
            return waited && m_condition == Status::absent ? Status::ok : status;
        }
        return status;
    }

    // The prompt is the test's: setCondition(Status::ok) accepts it, and declineUnlocking() does not.
    void unlock() override { calls.append("unlock"); }
    void declineUnlocking() { Q_EMIT unlockingEnded(); }

    // ok, locked, refused or absent. From locked or absent to ok what waited in memory is carried out and
    // unlocked() is emitted.
    void setCondition(Status condition) {
        const auto before = std::exchange(m_condition, condition);
        if (condition != Status::ok || (before != Status::locked && before != Status::absent)) {
            return;
        }
        const auto waiting = std::exchange(m_waiting, {});
        for (auto change = waiting.cbegin(); change != waiting.cend(); ++change) {
            if (*change) {
                items[change.key()] = **change;
            } else {
                items.remove(change.key());
            }
        }
        Q_EMIT unlocked();
        if (calls.contains("unlock")) {
            Q_EMIT unlockingEnded();
        }
    }

    // Past the condition.
    QMap<Key, QByteArray> items;
    // Every call of write() and erase(), in order.
    QStringList calls;

private:
    Status m_condition = Status::ok;
    // Written, or without a value erased, while the store was locked or absent.
    QMap<Key, std::optional<QByteArray>> m_waiting;
};
