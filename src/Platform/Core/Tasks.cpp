#include "Platform/Core/Tasks.h"

#include "Platform/Core/Completion.h"
#include "Platform/Core/Log.h"

namespace platform {

namespace {

QCoro::Task<void> watch(QCoro::Task<void> task, const char* name) {
    try {
        co_await task;
    } catch (const OperationCancelled&) {
    } catch (const std::exception& error) {
        logLine(QStringLiteral("[Task] %1: %2").arg(QLatin1String(name), errorText(error)));
    }
}

} // namespace

void startTask(QCoro::Task<void> task, const char* name) {
    watch(std::move(task), name);
}

QCoro::Task<std::optional<QString>> catchError(QCoro::Task<void> task) {
    std::optional<QString> failure;
    try {
        co_await task;
    } catch (const std::exception& error) {
        failure = errorText(error);
    }
    co_return failure;
}

QString errorText(const std::exception& error) {
    return QString::fromUtf8(error.what());
}

QString errorText(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& thrown) {
        return errorText(thrown);
    } catch (...) {
        return QStringLiteral("unknown error");
    }
}

} // namespace platform
