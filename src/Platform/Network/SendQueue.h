#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <chrono>
#include <deque>
#include <vector>

namespace platform {

// The frames that wait for one connection's turn to write. Sound (binary) is only worth its moment: beyond a
// bound in bytes or age the oldest is taken out. Commands (text) keep their order among each other, wait for
// no more than a second of sound, and are never taken out. One thread.
class SendQueue {
public:
    using Time = std::chrono::steady_clock::time_point;
    struct Frame {
        WebSocketTask::Payload kind;
        QByteArray payload;
        WebSocketTask::DoneHandler done;
        Time since{};
    };

    static constexpr qsizetype maxSoundBytes = 1024 * 1024;
    static constexpr std::chrono::seconds maxSoundAge{5};
    // As much sound as was recorded within this time may leave before a command.
    // The system's buffer holds some more, so it is half of the second.
    static constexpr std::chrono::milliseconds soundBeforeText{500};

    void push(Frame frame, Time now);
    // The next one to write. Returns nullopt when there is none.
    std::optional<Frame> take(Time now);
    // What the bounds have taken out since the last call.
    std::vector<Frame> takeDropped() { return std::exchange(m_dropped, {}); }
    // Everything that waits.
    std::deque<Frame> clear();

private:
    void pushText(Frame frame);
    void dropOldest();
    void dropBeyondBounds(Time now);

    std::deque<Frame> m_frames;
    qsizetype m_soundBytes = 0;
    std::vector<Frame> m_dropped;
};

} // namespace platform
