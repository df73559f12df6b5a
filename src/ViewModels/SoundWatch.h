#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Core/OperationScope.h"
#include "Services/AudioCaptureService.h"

#include <QCoroTask>

#include <functional>
#include <memory>

namespace corvane {

// Takes up sound that was lost in the middle of an interview. Main thread.
class SoundWatch {
public:
    struct Owner {
        std::function<bool()> mayAct;    // false: the watch waits
        std::function<void()> hasLooked; // what the last starts brought back is known by now
    };

    SoundWatch(AudioCaptureService& audioCapture, platform::Clock& clock, Owner owner);

    // Looks once a second until both streams run, or until the starts have failed too often.
    void start();
    void stop();
    bool isRunning() const { return m_timer != nullptr; }

private:
    void wait();
    QCoro::Task<void> look(platform::OperationTicket ticket);
    QCoro::Task<void> takeUp(AudioCaptureService::Sources back);

    AudioCaptureService& m_audioCapture;
    platform::Clock& m_clock;
    Owner m_owner;
    platform::OperationScope m_looks;
    std::unique_ptr<platform::Timer> m_timer; // until the next look, and kept during it
    int m_starts = 0;
};

} // namespace corvane
