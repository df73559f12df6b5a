#pragma once

#include <QCoroTask>

#include <QTest>

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <variant>

// Runs the event loop until `condition` holds. False after `milliseconds`.
template<typename Condition>
bool waitUntil(Condition condition, int milliseconds = 5000) {
    return QTest::qWaitFor(condition, milliseconds);
}

namespace detail {

// What became of a task; it may outlive the wait for it.
template<typename T>
struct Outcome {
    std::optional<std::conditional_t<std::is_void_v<T>, std::monostate, T>> result;
    std::exception_ptr error;
};

template<typename T>
QCoro::Task<void> settle(QCoro::Task<T> task, std::shared_ptr<Outcome<T>> outcome) {
    try {
        if constexpr (std::is_void_v<T>) {
            co_await task;
            outcome->result.emplace();
        } else {
            outcome->result.emplace(co_await task);
        }
    } catch (...) {
        outcome->error = std::current_exception();
    }
}

} // namespace detail

// Runs the event loop until the task is done and gives its result or throws what it threw.
template<typename T>
T waitFor(QCoro::Task<T> task, int milliseconds = 5000) {
    const auto outcome = std::make_shared<detail::Outcome<T>>();
    const auto running = detail::settle<T>(std::move(task), outcome);
    if (!waitUntil([&] { return outcome->result || outcome->error; }, milliseconds)) {
        throw std::runtime_error("waitFor: the task did not finish in time");
    }
    if (outcome->error) {
        std::rethrow_exception(outcome->error);
    }
    if constexpr (!std::is_void_v<T>) {
        return std::move(*outcome->result);
    }
}

// QCoro's own waitFor is found too, unless this one is not a template.
inline void waitFor(QCoro::Task<void> task, int milliseconds = 5000) {
    ::waitFor<void>(std::move(task), milliseconds);
}
