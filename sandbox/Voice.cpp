#include "sandbox/Voice.h"

#include "sandbox/InterviewScript.h"

namespace sandbox {

namespace {

constexpr std::size_t pieceBytes = 24;
// Pieces of prose come faster than messages.
constexpr int proseSpeed = 4;

} // namespace

Voice::Voice(Agenda& agenda, const Faults& faults, const std::chrono::milliseconds& pace, Say say)
    : m_agenda(agenda)
    , m_faults(faults)
    , m_pace(pace)
    , m_say(std::move(say)) {}

void Voice::plan(boost::json::object message, std::chrono::milliseconds before, std::function<void()> then) {
    m_planned.push_back({std::move(message), before, std::move(then)});
    if (!m_saying) {
        sayNext();
    }
}

void Voice::plan(std::vector<boost::json::object> messages) {
    for (auto& message : messages) {
        const bool answersNow = m_planned.empty() && !m_saying;
        plan(std::move(message), answersNow ? m_faults.slowness : m_pace);
    }
}

void Voice::planProse(std::string_view type, std::string_view text) {
    for (const auto& piece : inPieces(text, pieceBytes)) {
        plan({{"type", type}, {"text", piece}}, m_pace / proseSpeed);
    }
}

void Voice::giveUpPlanned() {
    ++m_generation;
    m_planned.clear();
    m_saying = false;
}

void Voice::sayNext() {
    m_saying = !m_planned.empty();
    if (!m_saying) {
        return;
    }
    Planned next = std::move(m_planned.front());
    m_planned.pop_front();
    const auto before = next.before;
    m_agenda.after(before, [weak = weak_from_this(), next = std::move(next), generation = m_generation] {
        const auto voice = weak.lock();
        if (!voice || generation != voice->m_generation) {
            return;
        }
        voice->m_say(next.message);
        voice->m_saying = false;
        if (next.then) {
            next.then();
        }
        if (!voice->m_saying) {
            voice->sayNext();
        }
    });
}

} // namespace sandbox
