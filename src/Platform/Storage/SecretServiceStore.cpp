#include "Platform/Storage/SecretServiceStore.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"

namespace platform {

namespace {

using namespace std::chrono_literals;

// How long the main thread waits for an answer and, at the end, for the last changes.
constexpr auto answerTimeout = 3s;

} // namespace

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

std::unique_ptr<SecretStore> makeSecretServiceStore() {
    return std::make_unique<SecretServiceStore>();
}

} // namespace platform
