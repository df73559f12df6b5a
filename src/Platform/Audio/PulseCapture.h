#pragma once

#include "Platform/Audio/PulseInventory.h"
#include "Platform/Audio/PulseRecording.h"
#include "Platform/Audio/PulseSession.h"
#include "Platform/Core/Completion.h"

namespace platform {

// A capture that follows a default device: the monitor of the default output, or the default input. Main
// thread, but for what is marked.
class PulseCapture final : public AudioStream, public PulseSession, private PulseRecording::Listener {
public:
    enum class Kind { systemOutput, microphone };

    // `configuration` is for the system's output; the microphone keeps its own format.
    PulseCapture(Kind kind, const PulseSettings& settings, SystemStreamConfiguration configuration,
                 AudioStreamHandlers handlers);
    ~PulseCapture() override;

    // Resolved when sound flows.
    const Completion<void>& started() const { return m_started; }
    void cancel() override;

private:
    // On the connection's thread: all but the last two.
    void connected() override;
    void look();
    void follow(const PulseInventory& inventory);
    void open(const PulseSource& source);
    PulseRecordingFormat formatFor(const PulseSource& source) const;
    void waitForDevice();
    void recordingReady(PulseRecording& recording) override;
    void recordingEnded(PulseRecording& recording) override;
    void recordingMoved(PulseRecording& recording, uint32_t source) override;
    void recordingBuffer(PulseRecording& recording, const AudioBuffer& buffer) override;
    void release() override;
    void failed(const AudioError& error) override;

    const Kind m_kind;
    const SystemStreamConfiguration m_configuration;
    AudioStreamHandlers m_handlers;
    Completion<void> m_started;
    bool m_startReported = false; // main thread

    // On the connection's thread.
    PulseInventoryReader m_reader;
    std::unique_ptr<PulseRecording> m_current; // what is delivered
    std::unique_ptr<PulseRecording> m_next;    // being opened, to take its place
    std::unique_ptr<PulseTimer> m_deadline;    // runs while the wanted device is not the current one
    std::unique_ptr<PulseTimer> m_retry;
    std::optional<uint32_t> m_movedTo; // where the server has put a recording against our will
    bool m_running = false;            // sound has flowed
    bool m_released = false;
};

} // namespace platform
