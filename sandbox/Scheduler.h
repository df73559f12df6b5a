// Runs actions later on the network thread. Clearing it drops the actions that are still pending.
#pragma once

#include "sandbox/AsioSupport.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>

namespace sandbox {

class Scheduler {
public:
    explicit Scheduler(asio::io_context& context)
        : m_context(context) {}

    void after(std::chrono::milliseconds time, std::function<void()> action) {
        const auto id = m_nextId++;
        const auto entry = m_timers.try_emplace(id, m_context, time).first;
        entry->second.async_wait(
            [this, id, action = std::move(action)](const boost::system::error_code& error) {
                if (!error && m_timers.erase(id) != 0) {
                    action();
                }
            });
    }
    void clear() { m_timers.clear(); }

private:
    asio::io_context& m_context;
    std::uint64_t m_nextId = 0;
    std::map<std::uint64_t, asio::steady_timer> m_timers;
};

} // namespace sandbox
