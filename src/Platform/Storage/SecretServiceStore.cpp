#include "Platform/Storage/SecretStore.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Storage/SecretServiceWatch.h"

#include <QCoreApplication>

#include <condition_variable>
#include <map>

namespace platform {

namespace {

using namespace std::chrono_literals;

// How long the main thread waits for an answer, and at the end for the last changes.
constexpr auto answerTimeout = 3s;

// Reads are answered by the watch's thread, which never prompts. Writes and deletions are carried out in
// order by a thread of their own, which may stand in front of a prompt for minutes. What is not carried out
// yet, or cannot be, is in the overlay and answers the reads.
class SecretServiceStore : public SecretStore {
public:
    SecretServiceStore() = default;
    ~SecretServiceStore() override;

    void readAhead(const QString& service, const QStringList& names) override;
    Reading read(const QString& service, const QString& name) override;
    Status write(const QString& service, const QString& name, const QByteArray& value) override;
    Status erase(const QString& service, const QString& name) override;

private:
    using Key = std::pair<QString, QString>;

    // What an item is to become.
    struct Change {
        std::optional<QByteArray> value; // without one, the item is to be deleted
        quint64 generation = 0;
        bool mayPrompt = false;
        bool queued = false;
    };

    struct Question {
        std::optional<Reading> answer;
        bool givenUp = false;
    };

    // On the main thread.
    std::shared_ptr<Question> post(const Key& key);
    std::shared_ptr<Question> takeAhead(const Key& key);
    Reading ask(const Key& key);

    // On the watch's thread.
    void answer(SecretServiceClient& client, const Key& key, Question& question);
    void serviceAppeared();
    void serviceVanished();
    void collectionChanged(SecretServiceClient& client);

    // On the thread for changes.
    void work();
    Status carryOut(const Key& key, const Change& change);

    // On any thread, with the lock held.
    bool isAbsent() const { return m_unreachable && !m_everPresent; }
    bool isGone() const { return m_unreachable && m_everPresent; }
    void change(const Key& key, std::optional<QByteArray> value);
    void enqueueAll(bool mayPrompt);
    void settle(const Key& key, const Change& change, Status status);
    Status judge(Status status);
    void announce();

    // On the main thread: asked already, and nothing has changed the item since.
    std::map<Key, std::shared_ptr<Question>> m_ahead;

    std::mutex m_mutex;
    std::condition_variable m_answered;
    std::condition_variable m_work;

    // All from here on under the lock.
    std::map<Key, Change> m_overlay;
    std::deque<Key> m_queue;
    quint64 m_generation = 0;
    bool m_named = false;       // someone owns the service's name now
    bool m_everPresent = false; // a service that is away now may come back
    bool m_unreachable = false; // nobody owns the name, and nobody could be started
    bool m_stalled = false;     // an answer takes longer than the timeout
    bool m_sawLocked = false;   // and nothing has told of an unlocking since
    bool m_owesNews = false;    // a read failed that may succeed later
    bool m_working = false;
    bool m_prompting = false;
    bool m_declined = false; // the prompt of the action at hand was dismissed
    bool m_saidAbsent = false;
    bool m_stopping = false;
    bool m_abandoned = false;

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
        m_stopping = true;
        m_work.notify_all();
        m_answered.wait_for(lock, answerTimeout,
                            [this] { return m_prompting || (m_queue.empty() && !m_working); });
        m_abandoned = true;
    }
    m_writer.cancel();
    m_thread.join();
}

void SecretServiceStore::readAhead(const QString& service, const QStringList& names) {
    for (const auto& name : names) {
        const Key key{service, name};
        m_ahead[key] = post(key);
    }
}

SecretStore::Reading SecretServiceStore::read(const QString& service, const QString& name) {
    const Key key{service, name};
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_overlay.find(key);
        const bool pending = found != m_overlay.end();
        if (isAbsent()) {
            m_owesNews = true;
            return {Status::absent, pending ? found->second.value : std::nullopt};
        }
        if (pending) {
            return {found->second.value ? Status::ok : Status::notFound, found->second.value};
        }
        if (isGone() || m_stalled) {
            m_owesNews = true;
            return {Status::locked, {}};
        }
    }
    return ask(key);
}

SecretStore::Status SecretServiceStore::write(const QString& service, const QString& name,
                                              const QByteArray& value) {
    const Key key{service, name};
    m_ahead.erase(key);
    const std::lock_guard lock(m_mutex);
    change(key, value);
    return isAbsent() ? Status::absent : isGone() ? Status::locked : Status::ok;
}

SecretStore::Status SecretServiceStore::erase(const QString& service, const QString& name) {
    const Key key{service, name};
    const auto reading = read(service, name);
    const std::lock_guard lock(m_mutex);
    if (isAbsent()) {
        return m_overlay.erase(key) > 0 ? Status::ok : Status::absent;
    }
    // What is locked now is deleted as soon as it can be.
    if (reading.status == Status::ok || reading.status == Status::locked) {
        change(key, {});
    }
    return reading.status;
}

std::shared_ptr<SecretServiceStore::Question> SecretServiceStore::post(const Key& key) {
    auto question = std::make_shared<Question>();
    m_watch.post([this, key, question](SecretServiceClient& client) { answer(client, key, *question); });
    return question;
}

// Null when there is none, or when it met a service that may answer better by now.
std::shared_ptr<SecretServiceStore::Question> SecretServiceStore::takeAhead(const Key& key) {
    const auto ahead = m_ahead.extract(key);
    if (!ahead) {
        return {};
    }
    const std::lock_guard lock(m_mutex);
    const auto& answer = ahead.mapped()->answer;
    const bool isGood = !answer || answer->status == Status::ok || answer->status == Status::notFound;
    return isGood ? ahead.mapped() : nullptr;
}

SecretStore::Reading SecretServiceStore::ask(const Key& key) {
    auto question = takeAhead(key);
    if (!question) {
        question = post(key);
    }
    std::unique_lock lock(m_mutex);
    const auto isAnswered = [&question] { return question->answer.has_value(); };
    if (m_answered.wait_for(lock, answerTimeout, isAnswered)) {
        return *question->answer;
    }
    question->givenUp = true;
    m_stalled = true;
    m_owesNews = true;
    return {Status::locked, {}};
}

void SecretServiceStore::answer(SecretServiceClient& client, const Key& key, Question& question) {
    auto reading = client.lookup(key.first, key.second);
    const std::lock_guard lock(m_mutex);
    reading.status = judge(reading.status);
    if (question.givenUp) {
        m_stalled = false;
    }
    if (reading.status == Status::locked || reading.status == Status::absent) {
        m_owesNews = true;
    } else if (question.givenUp) {
        announce();
    }
    question.answer = std::move(reading);
    m_answered.notify_all();
}

void SecretServiceStore::serviceAppeared() {
    const std::lock_guard lock(m_mutex);
    m_named = true;
    m_writer.renew();
    if (isGone()) {
        logLine(QStringLiteral("[Secrets] The secret service is back"));
    } else if (isAbsent()) {
        logLine(QStringLiteral("[Secrets] A secret service came: sign-in is kept in it from now on"));
    }
    m_everPresent = true;
    m_unreachable = false;
    enqueueAll(false);
    announce();
}

void SecretServiceStore::serviceVanished() {
    const std::lock_guard lock(m_mutex);
    m_writer.renew();
    if (std::exchange(m_named, false)) {
        logLine(QStringLiteral("[Secrets] The secret service went away: what it holds is read again when it"
                               " is back"));
    }
}

// Services tell of a lock in their own ways, and of much else: look whether it is open now.
void SecretServiceStore::collectionChanged(SecretServiceClient& client) {
    {
        const std::lock_guard lock(m_mutex);
        if (!m_sawLocked) {
            return;
        }
    }
    const auto status = client.collectionStatus();
    const std::lock_guard lock(m_mutex);
    if (status == Status::ok) {
        m_sawLocked = false;
        enqueueAll(false);
        announce();
    }
}

void SecretServiceStore::work() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_work.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
        if (m_queue.empty() || m_abandoned) {
            return;
        }
        const auto key = m_queue.front();
        m_queue.pop_front();
        if (const auto found = m_overlay.find(key); found != m_overlay.end()) {
            found->second.queued = false;
            const auto change = found->second;
            m_working = true;
            lock.unlock();
            const auto status = carryOut(key, change);
            lock.lock();
            m_working = false;
            settle(key, change, status);
        }
        m_declined = m_declined && !m_queue.empty();
        m_answered.notify_all();
    }
}

SecretStore::Status SecretServiceStore::carryOut(const Key& key, const Change& change) {
    const auto mayPrompt = [&] {
        const std::lock_guard lock(m_mutex);
        return change.mayPrompt && !m_declined && !m_stopping;
    };
    const auto attempt = [&] {
        return change.value ? m_writer.store(key.first, key.second, *change.value, mayPrompt())
                            : m_writer.remove(key.first, key.second);
    };
    const auto setPrompting = [this](bool on) {
        const std::lock_guard lock(m_mutex);
        m_prompting = on;
        m_answered.notify_all();
    };
    auto status = attempt();
    if (status == Status::locked && mayPrompt()) {
        setPrompting(true);
        status = m_writer.unlock();
        setPrompting(false);
        if (status == Status::ok) {
            return attempt();
        }
        const std::lock_guard lock(m_mutex);
        m_sawLocked = true;
    }
    return status;
}

void SecretServiceStore::change(const Key& key, std::optional<QByteArray> value) {
    auto& entry = m_overlay[key];
    entry.value = std::move(value);
    entry.generation = ++m_generation;
    if (!m_unreachable) {
        enqueueAll(true);
    }
}

// What was parked goes along.
void SecretServiceStore::enqueueAll(bool mayPrompt) {
    for (auto& [key, change] : m_overlay) {
        change.mayPrompt = mayPrompt || (change.queued && change.mayPrompt);
        if (!std::exchange(change.queued, true)) {
            m_queue.push_back(key);
        }
    }
    m_work.notify_all();
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
    if (status != Status::absent && !isGone() && change.mayPrompt && !m_stopping &&
        !std::exchange(m_declined, true)) {
        logLine(QStringLiteral("[Secrets] The secret service took no change: it is kept until the program"
                               " ends"));
    }
}

// What an operation says about the service as a whole, and means for a caller.
SecretStore::Status SecretServiceStore::judge(Status status) {
    m_sawLocked = m_sawLocked || status == Status::locked;
    if (status != Status::absent) {
        m_everPresent = true;
        return status;
    }
    // It has its name and gives no answer, or is away for now.
    m_unreachable = m_unreachable || !m_named;
    if (m_named || m_everPresent) {
        return Status::locked;
    }
    if (!std::exchange(m_saidAbsent, true)) {
        logLine(QStringLiteral("[Secrets] No secret service on this desktop: sign-in is kept until the"
                               " program ends"));
    }
    return Status::absent;
}

void SecretServiceStore::announce() {
    if (std::exchange(m_owesNews, false)) {
        dispatchToMain(this, [this] { Q_EMIT unlocked(); });
    }
}

} // namespace

std::unique_ptr<SecretStore> makeSecretServiceStore() {
    return std::make_unique<SecretServiceStore>();
}

} // namespace platform
