// The part of the store that changes items, on a thread of its own.
#include "Platform/Storage/SecretServiceStore.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"

namespace platform {

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

} // namespace platform
