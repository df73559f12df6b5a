#pragma once

#include <QCoroTask>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTest>

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>

// Runs the event loop until `condition` holds. False after `milliseconds`.
template<typename Condition>
bool waitUntil(Condition condition, int milliseconds = 5000) {
    return QTest::qWaitFor(condition, milliseconds);
}

namespace detail {

template<typename T>
QCoro::Task<void> settle(QCoro::Task<T> task, std::shared_ptr<std::optional<T>> result,
                         std::shared_ptr<std::exception_ptr> error, std::shared_ptr<bool> done) {
    try {
        result->emplace(co_await task);
    } catch (...) {
        *error = std::current_exception();
    }
    *done = true;
}

inline QCoro::Task<void> settleVoid(QCoro::Task<void> task, std::shared_ptr<std::exception_ptr> error,
                                    std::shared_ptr<bool> done) {
    try {
        co_await task;
    } catch (...) {
        *error = std::current_exception();
    }
    *done = true;
}

inline void spin(const std::shared_ptr<bool>& done, int milliseconds) {
    if (!QTest::qWaitFor([done] { return *done; }, milliseconds)) {
        throw std::runtime_error("waitFor: the task did not finish in time");
    }
}

} // namespace detail

// Runs the event loop until the task is done and gives its result or throws what it threw.
template<typename T>
T waitFor(QCoro::Task<T> task, int milliseconds = 5000) {
    auto result = std::make_shared<std::optional<T>>();
    auto error = std::make_shared<std::exception_ptr>();
    auto done = std::make_shared<bool>(false);
    auto running = detail::settle<T>(std::move(task), result, error, done);
    detail::spin(done, milliseconds);
    if (*error) {
        std::rethrow_exception(*error);
    }
    return std::move(**result);
}

inline void waitFor(QCoro::Task<void> task, int milliseconds = 5000) {
    auto error = std::make_shared<std::exception_ptr>();
    auto done = std::make_shared<bool>(false);
    auto running = detail::settleVoid(std::move(task), error, done);
    detail::spin(done, milliseconds);
    if (*error) {
        std::rethrow_exception(*error);
    }
}
