#pragma once

#include "Platform/Storage/SecretServiceClient.h"

#include <deque>
#include <functional>
#include <mutex>
#include <thread>

using GMainContext = struct _GMainContext;

namespace platform {

// A thread that reads secrets and watches the secret service: everything that must not wait for a prompt.
class SecretServiceWatch {
public:
    // Called on the thread. One of the first two is called for the initial state, before any task.
    struct Events {
        std::function<void()> appeared;
        std::function<void()> vanished;
        // Something about the collections has changed: one may have been locked or unlocked.
        std::function<void(SecretServiceClient&)> changed;
    };
    using Task = std::function<void(SecretServiceClient&)>;

    SecretServiceWatch(const QString& owner, Events events);
    // Ends the thread; tasks that did not run are dropped.
    ~SecretServiceWatch();
    SecretServiceWatch(const SecretServiceWatch&) = delete;
    SecretServiceWatch& operator=(const SecretServiceWatch&) = delete;

    // Queues a task for the thread.
    void post(Task task);

private:
    struct Subscriptions;

    void run();
    bool isStopping();
    // Returns false if the thread should end.
    bool runTasks();

    Events m_events;
    SecretServiceClient m_client;
    GMainContext* m_context;
    std::mutex m_mutex;
    std::deque<Task> m_tasks;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace platform
