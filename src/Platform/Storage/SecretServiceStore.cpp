#include "Platform/Storage/SecretStore.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Storage/SecretServiceState.h"
#include "Platform/Storage/SecretServiceWatch.h"

#include <QCoreApplication>

#include <condition_variable>
#include <map>

namespace platform {

namespace {

using namespace std::chrono_literals;

// How long the main thread waits for an answer and, at the end, for the last changes.
constexpr auto answerTimeout = 3s;

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

SecretServiceStore::~SecretServiceStore() {
    {
        std::unique_lock lock(m_mutex);
        m_ending = Ending::lastChanges;
        m_queued.notify_all();
        m_answered.wait_for(lock, answerTimeout, [this] {
            return m_work == Work::prompting || (m_queue.empty() && m_work == Work::idle);
        });
        m_ending = Ending::now;
    }
    m_writer.cancel();
    m_thread.join();
}

void SecretServiceStore::readAhead(const QString& service, const QStringList& names) {
    for (const auto& name : names) {
        const Key key{service, name};
        m_prefetched[key] = post(key);
    }
}

SecretStore::Reading SecretServiceStore::read(const QString& service, const QString& name) {
    const Key key{service, name};
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_overlay.find(key);
        const bool pending = found != m_overlay.end();
        if (m_state == State::absent) {
            return {Status::absent, pending ? found->second.value : std::nullopt};
        }
        if (pending) {
            return {found->second.value ? Status::ok : Status::notFound, found->second.value};
        }
        if (m_state == State::gone || m_state == State::silent) {
            return {Status::locked, {}};
        }
    }
    return ask(key);
}

SecretStore::Status SecretServiceStore::write(const QString& service, const QString& name,
                                              const QByteArray& value) {
    const Key key{service, name};
    m_prefetched.erase(key);
    const std::lock_guard lock(m_mutex);
    change(key, value);
    return m_state == State::absent ? Status::absent : m_state == State::gone ? Status::locked : Status::ok;
}

SecretStore::Status SecretServiceStore::erase(const QString& service, const QString& name) {
    const Key key{service, name};
    const auto reading = read(service, name);
    m_prefetched.erase(key);
    const std::lock_guard lock(m_mutex);
    if (m_state == State::absent) {
        // A service that appears later may hold an older value.
        change(key, {});
        return reading.value ? Status::ok : Status::absent;
    }
    // A locked item is deleted as soon as possible.
    if (reading.status == Status::ok || reading.status == Status::locked) {
        change(key, {});
    }
    return reading.status;
}

void SecretServiceStore::unlock() {
    const std::lock_guard lock(m_mutex);
    m_queue.push_back(std::nullopt);
    m_queued.notify_all();
}

std::shared_ptr<SecretServiceStore::Question> SecretServiceStore::post(const Key& key) {
    auto question = std::make_shared<Question>();
    m_watch.post([this, key, question](SecretServiceClient& client) { answer(client, key, *question); });
    return question;
}

// Returns null if there is no such request, or if it met a service that may answer better by now.
std::shared_ptr<SecretServiceStore::Question> SecretServiceStore::takePrefetched(const Key& key) {
    const auto ahead = m_prefetched.extract(key);
    if (!ahead) {
        return {};
    }
    const std::lock_guard lock(m_mutex);
    const auto& answer = ahead.mapped()->answer;
    const bool isGood = !answer || answer->status == Status::ok || answer->status == Status::notFound;
    return isGood ? ahead.mapped() : nullptr;
}

SecretStore::Reading SecretServiceStore::ask(const Key& key) {
    auto question = takePrefetched(key);
    if (!question) {
        question = post(key);
    }
    std::unique_lock lock(m_mutex);
    const auto isAnswered = [&question] { return question->answer.has_value(); };
    if (m_answered.wait_for(lock, answerTimeout, isAnswered)) {
        return *question->answer;
    }
    question->givenUp = true;
    take(Event::timedOut);
    return {Status::locked, {}};
}

void SecretServiceStore::answer(SecretServiceClient& client, const Key& key, Question& question) {
    auto reading = client.lookup(key.first, key.second);
    const std::lock_guard lock(m_mutex);
    if (question.givenUp) {
        take(Event::caughtUp);
    }
    reading.status = judge(reading.status);
    if (question.givenUp && m_state == State::open) {
        announce();
    }
    question.answer = std::move(reading);
    m_answered.notify_all();
}

void SecretServiceStore::serviceAppeared() {
    const std::lock_guard lock(m_mutex);
    m_writer.renew();
    const auto before = m_state;
    take(Event::appeared);
    if (before == State::gone) {
        logLine(QStringLiteral("[Secrets] The secret service is back"));
    } else if (before == State::absent) {
        logLine(QStringLiteral("[Secrets] A secret service is available now and keeps the sign-in"));
    }
    enqueueAll(false);
    if (before != State::unknown && before != State::open) {
        announce();
    }
}

void SecretServiceStore::serviceVanished() {
    const std::lock_guard lock(m_mutex);
    m_writer.renew();
    const auto before = m_state;
    take(Event::vanished);
    if (m_state != before) {
        logLine(QStringLiteral(
            "[Secrets] The secret service went away; its contents are read again when it is back"));
    }
}

// Services signal locking in different ways, and many other changes too, so the state is read.
void SecretServiceStore::collectionChanged(SecretServiceClient& client) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_state != State::locked) {
            return;
        }
    }
    const auto status = client.collectionStatus();
    const std::lock_guard lock(m_mutex);
    if (status == Status::ok && m_state == State::locked) {
        take(Event::unlocked);
        enqueueAll(false);
        announce();
    }
}

void SecretServiceStore::work() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_queued.wait(lock, [this] { return m_ending != Ending::no || !m_queue.empty(); });
        if (m_queue.empty() || m_ending == Ending::now) {
            return;
        }
        carryOutNext(lock);
        if (m_queue.empty()) {
            m_work = Work::idle;
        }
        m_answered.notify_all();
    }
}

void SecretServiceStore::carryOutNext(std::unique_lock<std::mutex>& lock) {
    const auto key = m_queue.front();
    m_queue.pop_front();
    if (m_work == Work::idle) {
        m_work = Work::working;
    }
    if (!key) {
        lock.unlock();
        unlockAsAsked();
        lock.lock();
    } else if (const auto found = m_overlay.find(*key); found != m_overlay.end()) {
        found->second.queued = false;
        const auto change = found->second;
        lock.unlock();
        const auto status = carryOut(*key, change);
        lock.lock();
        settle(*key, change, status);
    }
}

SecretStore::Status SecretServiceStore::carryOut(const Key& key, const Change& change) {
    const auto prompts = [&] {
        const std::lock_guard lock(m_mutex);
        return mayPrompt(change);
    };
    const auto attempt = [&] {
        return change.value ? m_writer.store(key.first, key.second, *change.value, prompts())
                            : m_writer.remove(key.first, key.second);
    };
    const auto status = attempt();
    if (status != Status::locked || !prompts()) {
        return status;
    }
    const auto answer = prompt();
    return answer == Status::ok ? attempt() : answer;
}

// Shows one prompt for the collection and waits for the user's answer.
SecretStore::Status SecretServiceStore::prompt() {
    const auto setWork = [this](Work work) {
        const std::lock_guard lock(m_mutex);
        m_work = work;
        m_answered.notify_all();
    };
    setWork(Work::prompting);
    const auto status = m_writer.unlock();
    setWork(Work::working);
    const std::lock_guard lock(m_mutex);
    if (status != Status::ok) {
        take(status == Status::absent ? Event::failed : Event::foundLocked);
    }
    return status;
}

void SecretServiceStore::unlockAsAsked() {
    const auto status = prompt();
    const std::lock_guard lock(m_mutex);
    if (status == Status::ok) {
        take(Event::unlocked);
        enqueueAll(false);
        announce();
    }
    dispatchToMain(this, [this] { Q_EMIT unlockingEnded(); });
}

bool SecretServiceStore::mayPrompt(const Change& change) const {
    return change.mayPrompt && m_work != Work::declined && m_ending == Ending::no;
}

void SecretServiceStore::change(const Key& key, std::optional<QByteArray> value) {
    auto& entry = m_overlay[key];
    entry.value = std::move(value);
    entry.generation = ++m_generation;
    if (m_state != State::absent && m_state != State::gone) {
        enqueueAll(true);
    }
}

// Includes the changes that were kept back.
void SecretServiceStore::enqueueAll(bool mayPrompt) {
    for (auto& [key, change] : m_overlay) {
        change.mayPrompt = mayPrompt || (change.queued && change.mayPrompt);
        if (!std::exchange(change.queued, true)) {
            m_queue.push_back(key);
        }
    }
    m_queued.notify_all();
}

void SecretServiceStore::settle(const Key& key, const Change& change, Status status) {
    status = judge(status);
    if (status == Status::ok || status == Status::notFound) {
        const auto found = m_overlay.find(key);
        if (found != m_overlay.end() && found->second.generation == change.generation) {
            m_overlay.erase(found);
        }
        return;
    }
    if (m_state != State::absent && m_state != State::gone && mayPrompt(change)) {
        m_work = Work::declined;
        logLine(QStringLiteral(
            "[Secrets] The secret service rejected a change, which is kept until the program ends"));
    }
}

// Updates the state after an operation, and returns what the status means for the caller.
SecretStore::Status SecretServiceStore::judge(Status status) {
    if (status != Status::absent) {
        take(status == Status::locked ? Event::foundLocked : Event::answered);
        return status;
    }
    take(Event::failed);
    return m_state == State::absent ? Status::absent : Status::locked;
}

void SecretServiceStore::take(Event event) {
    const auto before = std::exchange(m_state, after(event, m_state));
    if (m_state == State::absent && before != State::absent) {
        logLine(QStringLiteral(
            "[Secrets] No secret service on this desktop: sign-in is kept until the program ends"));
    }
}

void SecretServiceStore::announce() {
    dispatchToMain(this, [this] { Q_EMIT unlocked(); });
}

} // namespace

std::unique_ptr<SecretStore> makeSecretServiceStore() {
    return std::make_unique<SecretServiceStore>();
}

} // namespace platform
