#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Core/OperationScope.h"
#include "Services/AudioCaptureService.h"

#include <QCoroTask>

#include <functional>
#include <memory>

namespace corvane {

// Starts captures again that were lost during an interview. Main thread.
class SoundWatch {
public:
    struct Owner {
        std::function<bool()> mayAct;    // returns false while the watch has to wait
        std::function<void()> hasLooked; // called when the outcome of the last starts is known
    };

    SoundWatch(AudioCaptureService& audioCapture, platform::Clock& clock, Owner owner);

    // Looks for the sources until both streams run: once a second, and every 10 s after many failed starts.
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
    std::unique_ptr<platform::Timer> m_timer; // runs until the next look; kept while looking
    int m_starts = 0;
};

} // namespace corvane
