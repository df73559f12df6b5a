#pragma once

#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace platform {

// Thrown into a coroutine whose awaited operation will never finish, because its owner is gone.
class OperationCancelled : public std::exception {
public:
    const char* what() const noexcept override { return "The operation was cancelled."; }
};

// Bridges a callback to co_await: the operation keeps a copy and resolves it once, and the coroutine awaits
// it. Copies share one state. Everything happens on one thread; a callback on another thread must hop first
// (Dispatch.h). When the last copy outside the coroutine is destroyed unresolved, the coroutine gets
// OperationCancelled.
template<typename T>
class Completion {
    using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

    struct State {
        std::optional<Value> value;
        std::exception_ptr error;
        std::coroutine_handle<> waiter;

        bool done() const { return value || error; }
        void resume() {
            if (auto handle = std::exchange(waiter, nullptr)) {
                handle.resume();
            }
        }
    };

    // Shared by the resolving side only, so that its destruction is noticed.
    struct Resolver {
        std::shared_ptr<State> state = std::make_shared<State>();

        ~Resolver() {
            if (!state->done()) {
                state->error = std::make_exception_ptr(OperationCancelled());
                std::exchange(state, nullptr)->resume();
            }
        }
    };

    std::shared_ptr<Resolver> m_resolver = std::make_shared<Resolver>();

public:
    template<typename... Args>
    void resolve(Args&&... args) const {
        auto state = m_resolver->state;
        if (!state->done()) {
            state->value.emplace(std::forward<Args>(args)...);
            state->resume();
        }
    }

    void fail(std::exception_ptr error) const {
        auto state = m_resolver->state;
        if (!state->done()) {
            state->error = std::move(error);
            state->resume();
        }
    }

    template<typename Error>
    requires std::is_base_of_v<std::exception, Error>
    void fail(Error error) const { fail(std::make_exception_ptr(std::move(error))); }

    bool isDone() const { return m_resolver->state->done(); }

    class Awaiter {
    public:
        explicit Awaiter(std::shared_ptr<State> state)
            : m_state(std::move(state)) {}
        bool await_ready() const noexcept { return m_state->done(); }
        void await_suspend(std::coroutine_handle<> handle) noexcept { m_state->waiter = handle; }
        T await_resume() {
            if (m_state->error) {
                std::rethrow_exception(m_state->error);
            }
            if constexpr (!std::is_void_v<T>) {
                return std::move(*m_state->value);
            }
        }

    private:
        std::shared_ptr<State> m_state;
    };

    // Releases this copy's share of the resolver: awaiting does not keep the operation alive.
    Awaiter operator co_await() && {
        auto state = m_resolver->state;
        m_resolver.reset();
        return Awaiter(std::move(state));
    }
    Awaiter operator co_await() const& { return Awaiter(m_resolver->state); }
};

} // namespace platform
