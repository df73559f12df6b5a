#pragma once

#include "Platform/Core/Completion.h"

#include <memory>

#include <QtGlobal>

namespace platform {

// Tells whether an operation may still act on the object that started it. Taken from an OperationScope at the
// start of a coroutine and kept in its frame. Main thread.
class OperationTicket {
public:
    bool isCurrent() const noexcept { return *m_generation == m_issuedIn; }
    // Call this after each co_await, before touching the owner again. Throws OperationCancelled if the owner
    // is gone or has cancelled its operations; `startTask` treats that as a normal end.
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

// The lifetime of an object's asynchronous operations, as a member of the object that owns them. Its
// destruction, or cancel(), invalidates every ticket that it has issued. Main thread.
class OperationScope {
public:
    OperationScope() = default;
    ~OperationScope() { cancel(); }
    OperationScope(const OperationScope&) = delete;
    OperationScope& operator=(const OperationScope&) = delete;

    OperationTicket ticket() const { return OperationTicket(m_generation); }
    // Operations under way end at their next check.
    void cancel() noexcept { ++*m_generation; }

private:
    std::shared_ptr<quint64> m_generation = std::make_shared<quint64>(0);
};

} // namespace platform
