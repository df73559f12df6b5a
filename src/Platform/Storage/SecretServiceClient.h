#pragma once

#include "Platform/Storage/SecretStore.h"

#include <memory>

namespace platform {

// Blocking access to the desktop's secret service, for one worker thread. A service that was restarted is
// found again.
class SecretServiceClient {
public:
    using Status = SecretStore::Status;

    // `owner` is the program's name in the labels that a keyring manager shows.
    explicit SecretServiceClient(const QString& owner);
    ~SecretServiceClient();
    SecretServiceClient(const SecretServiceClient&) = delete;
    SecretServiceClient& operator=(const SecretServiceClient&) = delete;

    // Opens the session that the other operations would open. Never prompts.
    void prepare();
    // Never prompts. Without an item, a locked collection still gives locked: some services hide what a
    // locked one holds.
    SecretStore::Reading lookup(const QString& service, const QString& name);
    // Replaces. Prompts only where the user has no default collection yet, and only if `mayPrompt` is set.
    Status store(const QString& service, const QString& name, const QByteArray& value, bool mayPrompt);
    // Every such item. Never prompts.
    Status remove(const QString& service, const QString& name);
    // The default collection. Prompts, and waits for the user.
    Status unlock();
    // ok when the default collection is open, or there is none.
    Status collectionStatus();

    // Any thread: the next call opens a new session, because the service is another one now.
    void renew();
    // Any thread: a blocked call, and every later one, fails at once.
    void cancel();

private:
    struct Session;
    std::unique_ptr<Session> m_session;
};

} // namespace platform
