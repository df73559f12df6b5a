#pragma once

#include "Platform/Core/Completion.h"

#include <memory>

#include <QtGlobal>

namespace platform {

// Says whether an operation may still act on the object that started it. Taken from an OperationScope at the
// start of a coroutine and kept in its frame. Main thread.
class OperationTicket {
public:
    bool isCurrent() const noexcept { return *m_generation == m_issuedIn; }
    // To be called after each co_await, before the owner is touched again. Throws OperationCancelled when the
    // owner is gone or has taken another course; `startTask` takes that for a normal end.
    void ensureCurrent() const {
        if (!isCurrent()) {
            throw OperationCancelled();
        }
    }

private:
    friend class OperationScope;
    explicit OperationTicket(std::shared_ptr<const quint64> generation)
        : m_generation(std::move(generation))
        , m_issuedIn(*m_generation) {}

    std::shared_ptr<const quint64> m_generation;
    quint64 m_issuedIn;
};

// The lifetime of an object's asynchronous operations: a member of the object that owns them. Its end, or
// cancel(), makes every ticket that it has issued invalid. Main thread.
class OperationScope {
public:
    OperationScope() = default;
    ~OperationScope() { cancel(); }
    OperationScope(const OperationScope&) = delete;
    OperationScope& operator=(const OperationScope&) = delete;

    OperationTicket ticket() const { return OperationTicket(m_generation); }
    // The owner takes another course: operations under way end at their next check.
    void cancel() noexcept { ++*m_generation; }

private:
    std::shared_ptr<quint64> m_generation = std::make_shared<quint64>(0);
};

} // namespace platform
