#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <boost/crc.hpp>

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

// What was handed to the connections of a program, to be compared with what their peer says it got. Any
// thread.
class SentSound {
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Received {
        quint64 frames = 0;
        quint32 checksum = 0; // CRC-32 of the bytes of all these frames
    };
    struct Verdict {
        quint64 received = 0;
        quint64 lost = 0;  // by links that broke
        QString complaint; // empty when every frame came that had to
    };

    // The program's connections, which are noted here while this lives.
    std::unique_ptr<platform::WebSocketFactory> recorded(std::unique_ptr<platform::WebSocketFactory> inner);

    // Compares the next links, in their order. Each is expected to have got the first frames handed to it,
    // unchanged and in order, and to miss none that was handed over before `broken`. With `isOver` false the
    // last one is still in use and is not done with.
    Verdict judge(const std::vector<Received>& links, Time broken, bool isOver);
    // The peer that knew what became of the links so far is gone.
    void forget();
    // Of the newest link that had any.
    quint64 framesOfNewest() const;

private:
    class Task;
    class Factory;
    struct Frame {
        quint32 checksum; // of all bytes up to its end
        Time at;
    };
    struct Link {
        std::vector<Frame> frames;
        boost::crc_32_type checksum;
        // Frames before these were judged already.
        size_t judged = 0;
    };

    size_t linkThatSent(const Received& received) const;
    void loseRest(const Link& link, size_t received, Time broken, Verdict& verdict) const;

    mutable std::mutex m_mutex;
    std::deque<std::shared_ptr<Link>> m_links;
};
