#pragma once

#include "Platform/Core/Completion.h"
#include "Platform/Core/Dispatch.h"

#include <QThreadPool>

#include <type_traits>

namespace platform {

// Runs `work` on a thread of the pool; its result, or what it throws, comes on the main thread. Called there.
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
        // The main thread holds the last copy: it is the one to wake who waits.
        auto handed = std::move(report);
        pending = Completion<Result>();
        dispatchToMain(std::move(handed));
    });
    return completion;
}

} // namespace platform
