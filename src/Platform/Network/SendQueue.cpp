#include "Platform/Network/SendQueue.h"

#include <algorithm>

namespace platform {

namespace {

bool isSound(const SendQueue::Frame& frame) {
    return frame.kind == WebSocketTask::Payload::binary;
}

} // namespace

void SendQueue::push(Frame frame, Time now) {
    frame.since = now;
    if (!isSound(frame)) {
        pushText(std::move(frame));
        return;
    }
    m_soundBytes += frame.payload.size();
    m_frames.push_back(std::move(frame));
    dropBeyondBounds(now);
}

// Queues a command behind all waiting commands and the first half second of sound.
void SendQueue::pushText(Frame frame) {
    const auto firstSound = std::ranges::find_if(m_frames, isSound);
    const auto lastText = std::find_if_not(m_frames.rbegin(), m_frames.rend(), isSound).base();
    auto place = lastText;
    while (place != m_frames.end() && place->since < firstSound->since + soundBeforeText) {
        ++place;
    }
    m_frames.insert(place, std::move(frame));
}

std::optional<SendQueue::Frame> SendQueue::take(Time now) {
    dropBeyondBounds(now);
    if (m_frames.empty()) {
        return std::nullopt;
    }
    auto frame = std::move(m_frames.front());
    m_frames.pop_front();
    if (isSound(frame)) {
        m_soundBytes -= frame.payload.size();
    }
    return frame;
}

std::deque<SendQueue::Frame> SendQueue::clear() {
    m_soundBytes = 0;
    return std::exchange(m_frames, {});
}

void SendQueue::dropOldest() {
    const auto oldest = std::ranges::find_if(m_frames, isSound);
    m_soundBytes -= oldest->payload.size();
    m_dropped.push_back(std::move(*oldest));
    m_frames.erase(oldest);
}

// A single frame may exceed the limit.
void SendQueue::dropBeyondBounds(Time now) {
    const auto oldest = [this] { return std::ranges::find_if(m_frames, isSound); };
    while (oldest() != m_frames.end() &&
           (now - oldest()->since > maxSoundAge ||
            (m_soundBytes > maxSoundBytes && m_soundBytes > oldest()->payload.size()))) {
        dropOldest();
    }
}

} // namespace platform
