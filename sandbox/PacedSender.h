// What the backend says on one link: in order, at the script's pace.
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

// Network thread only. What is planned is forgotten when the voice goes.
class PacedSender : public std::enable_shared_from_this<PacedSender> {
public:
    using Send = std::function<void(const boost::json::object&)>;

    // `pace` lies between two planned messages; it may change.
    PacedSender(Scheduler& scheduler, const Faults& faults, const std::chrono::milliseconds& pace, Send send);

    // Past everything that is planned.
    void sendNow(const boost::json::object& message) { m_send(message); }
    // `then` runs after the message is said.
    void plan(boost::json::object message, std::chrono::milliseconds before, std::function<void()> then = {});
    void plan(std::vector<boost::json::object> messages);
    // Messages of `type` with pieces of the text under "text".
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
    // Raised when what is planned is given up.
    unsigned m_generation = 0;
};

} // namespace sandbox
