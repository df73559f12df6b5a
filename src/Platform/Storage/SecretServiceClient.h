#pragma once

#include "Platform/Storage/SecretStore.h"

#include <memory>

namespace platform {

// Blocking access to the desktop's secret service, for one worker thread. It reconnects to a service that was
// restarted.
class SecretServiceClient {
public:
    using Status = SecretStore::Status;

    // `owner` is the program's name in the labels that a keyring manager shows.
    explicit SecretServiceClient(const QString& owner);
    ~SecretServiceClient();
    SecretServiceClient(const SecretServiceClient&) = delete;
    SecretServiceClient& operator=(const SecretServiceClient&) = delete;

    // Opens in advance the session that the other operations need. Never prompts.
    void prepare();
    // Looks up a secret. Never prompts. If no item is found while the collection is locked, the status is
    // locked: some services hide the items of a locked collection.
    SecretStore::Reading lookup(const QString& service, const QString& name);
    // Stores a secret, replacing an existing one. Prompts only if the user has no default collection yet and
    // `mayPrompt` is set.
    Status store(const QString& service, const QString& name, const QByteArray& value, bool mayPrompt);
    // Removes all matching items. Never prompts.
    Status remove(const QString& service, const QString& name);
    // Unlocks the default collection. Prompts, and waits for the user.
    Status unlock();
    // Returns ok if the default collection is unlocked or does not exist.
    Status collectionStatus();

    // Makes the next call open a new session, because the service has been replaced. Any thread.
    void renew();
    // Makes a blocked call and every later one fail at once. Any thread.
    void cancel();

private:
    struct Session;
    std::unique_ptr<Session> m_session;
};

} // namespace platform
