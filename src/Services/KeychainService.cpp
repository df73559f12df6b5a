#include "Services/KeychainService.h"

#include "Utilities/Utf8.h"

namespace corvane {

using Status = platform::SecretStore::Status;

KeychainService::KeychainService(QString serviceName, platform::SecretStore& store)
    : m_serviceName(std::move(serviceName))
    , m_store(store) {
    connect(&m_store, &platform::SecretStore::unlocked, this, &KeychainService::unlocked);
    connect(&m_store, &platform::SecretStore::unlockingEnded, this, &KeychainService::unlockingEnded);
}

std::optional<platform::Secret> KeychainService::get(const QString& key) const {
    const auto reading = m_store.read(m_serviceName, key);
    const auto text = reading.value ? utf8::decode(*reading.value) : std::nullopt;
    return text ? std::optional(platform::Secret(*text)) : std::nullopt;
}

bool KeychainService::mayHide(const QString& key) const {
    const auto status = m_store.read(m_serviceName, key).status;
    return status == Status::locked || status == Status::absent;
}

bool KeychainService::isLocked(const QString& key) const {
    return m_store.read(m_serviceName, key).status == Status::locked;
}

void KeychainService::save(const QString& key, const platform::Secret& value) {
    if (const auto bytes = utf8::encode(value.reveal())) {
        m_store.write(m_serviceName, key, *bytes);
    }
}

bool KeychainService::remove(const QString& key) {
    return m_store.erase(m_serviceName, key) == Status::ok;
}

void KeychainService::unlock() {
    m_store.unlock();
}

} // namespace corvane
