#pragma once

#include "Platform/Audio/PulseSettings.h"

#include <pulse/pulseaudio.h>

#include <functional>
#include <memory>

namespace platform {

QString pulseErrorText(int code);

// One connection to a sound server, with a thread of its own. A connection that is lost stays lost.
class PulseConnection {
public:
    struct Handlers {
        // Both run on the connection's thread. `lost` is called at most once, possibly instead of `ready`.
        std::function<void()> ready;
        std::function<void(AudioError)> lost;
    };

    explicit PulseConnection(const PulseSettings& settings);
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    // Does not block: everything that may take time happens on the connection's thread. Main thread.
    void open(Handlers handlers);
    // Waits for a running handler, lets `release` free what depends on the context, and ends the thread: no
    // handler runs afterwards. Main thread.
    void close(const std::function<void()>& release);

    // Valid on the connection's thread between `ready` and `lost`, and in `release`.
    pa_context* context() const { return m_context; }
    pa_mainloop_api* api() const { return pa_threaded_mainloop_get_api(m_loop); }

private:
    void connect();
    void stateChanged();
    void reportLoss(int code);

    PulseSettings m_settings;
    Handlers m_handlers;
    pa_threaded_mainloop* m_loop = nullptr;
    pa_context* m_context = nullptr;
    bool m_ready = false;
    bool m_over = false;
};

// A timer on a connection's thread, where it must also be destroyed.
class PulseTimer {
public:
    PulseTimer(const PulseConnection& connection, std::chrono::milliseconds delay,
               std::function<void()> fire);
    ~PulseTimer();
    PulseTimer(const PulseTimer&) = delete;
    PulseTimer& operator=(const PulseTimer&) = delete;

private:
    pa_mainloop_api* m_api;
    pa_time_event* m_event = nullptr;
    std::function<void()> m_fire;
};

// A pending operation. Destroying it cancels it: its callback does not run any more.
class PulseOperation {
public:
    PulseOperation() = default;
    explicit PulseOperation(pa_operation* operation)
        : m_operation(operation) {}

private:
    struct Cancel {
        void operator()(pa_operation* operation) const {
            pa_operation_cancel(operation);
            pa_operation_unref(operation);
        }
    };
    std::unique_ptr<pa_operation, Cancel> m_operation;
};

} // namespace platform
