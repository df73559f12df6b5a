// Sends the backend's messages on one link, in order and at the script's pace.
#pragma once

#include "sandbox/Faults.h"
#include "sandbox/Scheduler.h"

#include <boost/json/object.hpp>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace sandbox {

// Network thread only. Planned messages are dropped when the sender is destroyed.
class PacedSender : public std::enable_shared_from_this<PacedSender> {
public:
    using Send = std::function<void(const boost::json::object&)>;

    // `pace` is the pause between two planned messages; it may change.
    PacedSender(Scheduler& scheduler, const Faults& faults, const std::chrono::milliseconds& pace, Send send);

    // Sends a message at once, ahead of the planned ones.
    void sendNow(const boost::json::object& message) { m_send(message); }
    // `then` runs after the message has been sent.
    void plan(boost::json::object message, std::chrono::milliseconds before, std::function<void()> then = {});
    void plan(std::vector<boost::json::object> messages);
    // Plans messages of `type` with the pieces of the text under the key "text".
    void planProse(std::string_view type, std::string_view text);
    void dropPlanned();

private:
    struct Planned {
        boost::json::object message;
        std::chrono::milliseconds before;
        std::function<void()> then;
    };

    void sendNext();

    Scheduler& m_scheduler;
    const Faults& m_faults;
    const std::chrono::milliseconds& m_pace;
    Send m_send;
    std::deque<Planned> m_planned;
    bool m_sending = false;
    // Incremented when the planned messages are dropped.
    unsigned m_generation = 0;
};

} // namespace sandbox
