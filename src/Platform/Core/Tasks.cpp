#include "Tasks.h"

#include "Completion.h"
#include "Log.h"

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
