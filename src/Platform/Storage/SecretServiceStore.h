#pragma once

#include "Platform/Storage/SecretServiceState.h"
#include "Platform/Storage/SecretServiceWatch.h"
#include "Platform/Storage/SecretStore.h"

#include <QCoreApplication>

#include <condition_variable>
#include <map>

namespace platform {

// Reads are answered by the watch's thread, which never prompts. Writes and deletions are carried out in
// order on a thread of their own, which may wait minutes for a prompt. Changes that are not carried out yet,
// or cannot be, are kept in the overlay, which answers reads.
class SecretServiceStore : public SecretStore {
public:
    SecretServiceStore() = default;
    ~SecretServiceStore() override;

    void readAhead(const QString& service, const QStringList& names) override;
    Reading read(const QString& service, const QString& name) override;
    Status write(const QString& service, const QString& name, const QByteArray& value) override;
    Status erase(const QString& service, const QString& name) override;
    void unlock() override;

private:
    using State = SecretServiceState;
    using Event = SecretServiceEvent;
    using Key = std::pair<QString, QString>;

    // The intended state of an item.
    struct Change {
        std::optional<QByteArray> value; // nullopt deletes the item
        quint64 generation = 0;
        bool mayPrompt = false;
        bool queued = false;
    };

    // What the thread for changes is doing. `declined` means working after the prompt for the current action
    // was dismissed.
    enum class Work { idle, working, prompting, declined };
    // Whether the program is ending: first the last changes are carried out, then none.
    enum class Ending { no, lastChanges, now };

    struct Question {
        std::optional<Reading> answer;
        bool givenUp = false;
    };

    // Called on the main thread.
    std::shared_ptr<Question> post(const Key& key);
    std::shared_ptr<Question> takePrefetched(const Key& key);
    Reading ask(const Key& key);

    // Called on the watch's thread.
    void answer(SecretServiceClient& client, const Key& key, Question& question);
    void serviceAppeared();
    void serviceVanished();
    void collectionChanged(SecretServiceClient& client);

    // Called on the thread for changes.
    void work();
    void carryOutNext(std::unique_lock<std::mutex>& lock);
    Status carryOut(const Key& key, const Change& change);
    Status prompt();
    void unlockAsAsked();

    // Called on any thread, with the lock held.
    void take(Event event);
    bool mayPrompt(const Change& change) const;
    void change(const Key& key, std::optional<QByteArray> value);
    void enqueueAll(bool mayPrompt);
    void settle(const Key& key, const Change& change, Status status);
    Status judge(Status status);
    void announce();

    // Used on the main thread: requests made in advance for items that have not changed since.
    std::map<Key, std::shared_ptr<Question>> m_prefetched;

    std::mutex m_mutex;
    std::condition_variable m_answered;
    std::condition_variable m_queued;

    // Everything below is protected by the lock.
    std::map<Key, Change> m_overlay;
    std::deque<std::optional<Key>> m_queue; // an entry without a key is a request to unlock
    quint64 m_generation = 0;
    State m_state = State::unknown;
    Work m_work = Work::idle;
    Ending m_ending = Ending::no;

    const QString m_owner = QCoreApplication::applicationName();
    SecretServiceClient m_writer{m_owner};
    SecretServiceWatch m_watch{m_owner,
                               {[this] { serviceAppeared(); }, [this] { serviceVanished(); },
                                [this](SecretServiceClient& client) { collectionChanged(client); }}};
    std::thread m_thread{[this] { work(); }};
};

} // namespace platform
