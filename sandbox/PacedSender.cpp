#include "sandbox/PacedSender.h"

#include "sandbox/InterviewScript.h"

namespace sandbox {

namespace {

constexpr std::size_t pieceBytes = 24;
// Pieces of prose follow each other faster than messages.
constexpr int proseSpeed = 4;

} // namespace

PacedSender::PacedSender(Scheduler& scheduler, const Faults& faults, const std::chrono::milliseconds& pace,
                         Send send)
    : m_scheduler(scheduler)
    , m_faults(faults)
    , m_pace(pace)
    , m_send(std::move(send)) {}

void PacedSender::plan(boost::json::object message, std::chrono::milliseconds before,
                       std::function<void()> then) {
    m_planned.push_back({std::move(message), before, std::move(then)});
    if (!m_sending) {
        sendNext();
    }
}

void PacedSender::plan(std::vector<boost::json::object> messages) {
    for (auto& message : messages) {
        const bool answersNow = m_planned.empty() && !m_sending;
        plan(std::move(message), answersNow ? m_faults.slowness : m_pace);
    }
}

void PacedSender::planProse(std::string_view type, std::string_view text) {
    for (const auto& piece : inPieces(text, pieceBytes)) {
        plan({{"type", type}, {"text", piece}}, m_pace / proseSpeed);
    }
}

void PacedSender::dropPlanned() {
    ++m_generation;
    m_planned.clear();
    m_sending = false;
}

void PacedSender::sendNext() {
    m_sending = !m_planned.empty();
    if (!m_sending) {
        return;
    }
    Planned next = std::move(m_planned.front());
    m_planned.pop_front();
    const auto before = next.before;
    m_scheduler.after(before, [weak = weak_from_this(), next = std::move(next), generation = m_generation] {
        const auto sender = weak.lock();
        if (!sender || generation != sender->m_generation) {
            return;
        }
        sender->m_send(next.message);
        sender->m_sending = false;
        if (next.then) {
            next.then();
        }
        if (!sender->m_sending) {
            sender->sendNext();
        }
    });
}

} // namespace sandbox
