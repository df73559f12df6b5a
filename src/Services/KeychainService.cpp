#include "KeychainService.h"

#include "Utf8.h"

using Status = platform::SecretStore::Status;

KeychainService::KeychainService(QString serviceName, platform::SecretStore& store)
    : m_serviceName(std::move(serviceName))
    , m_store(store) {
    connect(&m_store, &platform::SecretStore::unlocked, this, [this] {
        for (const auto& key : std::exchange(m_owedRemovals, {})) {
            remove(key);
        }
        Q_EMIT unlocked();
    });
}

std::optional<platform::Secret> KeychainService::get(const QString& key) const {
    const auto reading = m_store.read(m_serviceName, key);
    const auto text =
        reading.value && !m_owedRemovals.contains(key) ? utf8::decode(*reading.value) : std::nullopt;
    return text ? std::optional(platform::Secret(*text)) : std::nullopt;
}

bool KeychainService::isLocked(const QString& key) const {
    return !m_owedRemovals.contains(key) && m_store.read(m_serviceName, key).status == Status::locked;
}

void KeychainService::save(const QString& key, const platform::Secret& value) {
    if (const auto bytes = utf8::encode(value.reveal())) {
        m_owedRemovals.remove(key);
        m_store.write(m_serviceName, key, *bytes);
    }
}

bool KeychainService::remove(const QString& key) {
    const auto status = m_store.erase(m_serviceName, key);
    if (status == Status::locked) {
        m_owedRemovals.insert(key);
    }
    return status == Status::ok;
}
