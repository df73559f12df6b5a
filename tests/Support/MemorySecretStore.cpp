#include "MemorySecretStore.h"

MemorySecretStore::Reading MemorySecretStore::read(const QString& service, const QString& name) {
    const Key key(service, name);
    if (m_condition == Status::refused) {
        return {Status::refused, std::nullopt};
    }
    const auto& values = m_condition == Status::ok ? items : m_memory;
    const auto found = values.constFind(key);
    if (found != values.cend()) {
        return {m_condition == Status::absent ? Status::absent : Status::ok, *found};
    }
    return {m_condition == Status::ok ? Status::notFound : m_condition, std::nullopt};
}

MemorySecretStore::Status MemorySecretStore::write(const QString& service, const QString& name,
                                                   const QByteArray& value) {
    calls.append(QStringLiteral("write ") + name);
    if (m_condition != Status::refused) {
        (m_condition == Status::ok ? items : m_memory)[Key(service, name)] = value;
    }
    return m_condition;
}

MemorySecretStore::Status MemorySecretStore::erase(const QString& service, const QString& name) {
    calls.append(QStringLiteral("erase ") + name);
    if (m_condition == Status::refused) {
        return Status::refused;
    }
    const auto removed = (m_condition == Status::ok ? items : m_memory).remove(Key(service, name));
    if (m_condition == Status::locked) {
        return Status::locked;
    }
    return removed > 0 ? Status::ok : Status::notFound;
}

void MemorySecretStore::setCondition(Status condition) {
    const auto before = std::exchange(m_condition, condition);
    if (condition != Status::ok || before == Status::ok) {
        return;
    }
    for (auto item = m_memory.cbegin(); item != m_memory.cend(); ++item) {
        items.insert(item.key(), item.value());
    }
    m_memory.clear();
    if (before != Status::refused) {
        Q_EMIT unlocked();
    }
}
