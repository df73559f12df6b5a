#pragma once

#include "Platform/Core/Completion.h"
#include "Platform/Core/Dispatch.h"

#include <QThreadPool>

#include <type_traits>

namespace platform {

// Runs `work` on a thread of Qt's global pool and returns a completion with its result, or with the exception
// that it throws. Call it on the main thread, where the completion is also resolved.
template<typename Work>
auto inBackground(Work work) {
    using Result = std::invoke_result_t<Work>;
    const Completion<Result> completion;
    QThreadPool::globalInstance()->start([work = std::move(work), pending = completion]() mutable {
        std::function<void()> report;
        try {
            report = [pending, result = work()] { pending.resolve(result); };
        } catch (...) {
            report = [pending, error = std::current_exception()] { pending.fail(error); };
        }
        // The last copy of the completion must be destroyed on the main thread, which resumes the waiting
        // coroutine.
        auto handed = std::move(report);
        pending = Completion<Result>();
        dispatchToMain(std::move(handed));
    });
    return completion;
}

} // namespace platform
