#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Platform/Core/Clock.h"
#include "Platform/Core/Completion.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/OperationScope.h"

#include <memory>
#include <optional>
#include <vector>

namespace corvane {

// One capture of a source, from its start to its end. It is starting until it has a stream. A stop or a
// failure ends it, together with the operations that hold a ticket of it. Main thread.
template<typename Pipeline>
class Capture {
public:
    ~Capture() { stop(); }

    platform::OperationTicket ticket() const { return m_scope.ticket(); }
    bool isStarting() const { return !m_stream; }

    void setPipeline(std::shared_ptr<Pipeline> pipeline) { m_pipeline = std::move(pipeline); }
    const std::shared_ptr<Pipeline>& pipeline() const { return m_pipeline; }
    void setStream(std::unique_ptr<platform::AudioStream> stream) { m_stream = std::move(stream); }
    void setTimer(std::unique_ptr<platform::Timer> timer) { m_rawStreamingTimer = std::move(timer); }

    // Waits for a handler that is running, also while the stream is still being opened.
    void stop() {
        m_scope.cancel();
        if (m_pipeline) {
            m_pipeline->stop();
        }
        m_stream.reset();
        m_rawStreamingTimer.reset();
    }

    // Notes that the platform has ended the stream. A start that is under way fails with this error.
    void setFailure(const platform::AudioError& failure) { m_failure = failure; }

    // Returns the outcome of this start, for another one that came in the meantime to wait for.
    platform::Completion<void> outcome() { return m_followers.emplace_back(); }

    // Reports the outcome to the other starts. `error` is what ended this one, or null. Returns the error to
    // report to the callers.
    std::exception_ptr settle(std::exception_ptr error) {
        if (error && m_failure) {
            error = std::make_exception_ptr(platform::AudioError(*m_failure));
        }
        for (const auto& follower : std::exchange(m_followers, {})) {
            if (error) {
                follower.fail(error);
            } else {
                follower.resolve();
            }
        }
        return error;
    }

private:
    platform::OperationScope m_scope;
    std::shared_ptr<Pipeline> m_pipeline;
    std::unique_ptr<platform::AudioStream> m_stream;
    std::unique_ptr<platform::Timer> m_rawStreamingTimer;
    std::optional<platform::AudioError> m_failure;
    std::vector<platform::Completion<void>> m_followers;
};

// Holds the running capture of a source. The starts under way share it, as they may outlive its owner.
template<typename Capture>
using CaptureSlot = std::shared_ptr<std::shared_ptr<Capture>>;

// Runs `open`, unless a capture is running or starting in the slot. In that case it logs `skipLine` and ends
// as that capture's start does.
template<typename Capture, typename Open>
QCoro::Task<void> startOnce(CaptureSlot<Capture> slot, QString skipLine, Open open) {
    if (const auto running = *slot) {
        platform::logLine(skipLine);
        if (running->isStarting()) {
            auto outcome = running->outcome();
            co_await std::move(outcome);
        }
        co_return;
    }
    const auto capture = std::make_shared<Capture>();
    *slot = capture;
    std::exception_ptr error;
    try {
        auto opening = open(capture);
        co_await opening;
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        capture->stop();
        if (*slot == capture) {
            slot->reset();
        }
    }
    error = capture->settle(error);
    if (error) {
        std::rethrow_exception(error);
    }
}

} // namespace corvane
