#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <boost/crc.hpp>

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

// Records what was handed to the program's connections, to be compared with what their peer reports. Any
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
        QString complaint; // empty if every frame arrived that had to
    };

    // Returns a factory for the program's connections, which are recorded here.
    std::unique_ptr<platform::WebSocketFactory> recorded(std::unique_ptr<platform::WebSocketFactory> inner);

    // Compares the next links, in order. Each must have received the first frames handed to it, unchanged and
    // in order, and every frame that was handed over before `broken`. If `isOver` is false, the last link is
    // still in use and stays open for the next comparison.
    Verdict judge(const std::vector<Received>& links, Time broken, bool isOver);
    // Drops all links, because the peer that knew what they received is gone.
    void forget();
    // Returns the number of frames of the newest link that has any.
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
        // The number of frames that have been compared.
        size_t judged = 0;
    };

    size_t linkThatSent(const Received& received) const;
    void loseRest(const Link& link, size_t received, Time broken, Verdict& verdict) const;

    mutable std::mutex m_mutex;
    std::deque<std::shared_ptr<Link>> m_links;
};
