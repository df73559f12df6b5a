#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <chrono>
#include <deque>
#include <vector>

namespace platform {

// The frames that wait to be written to one connection. Sound (binary) is useful only for a short time: the
// oldest is dropped beyond a limit in bytes or age. Commands (text) keep their order among each other, wait
// for no more than a second of sound, and are never dropped. Not thread-safe.
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
    // How much sound, by its recording time, may be sent before a command. The system's buffer holds some
    // more, so this is half of the second.
    static constexpr std::chrono::milliseconds soundBeforeText{500};

    void push(Frame frame, Time now);
    // Returns the next frame to write, or nullopt if there is none.
    std::optional<Frame> take(Time now);
    // Returns the frames that were dropped since the last call.
    std::vector<Frame> takeDropped() { return std::exchange(m_dropped, {}); }
    // Removes and returns all waiting frames.
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
