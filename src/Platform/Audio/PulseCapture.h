#pragma once

#include "Platform/Audio/PulseCaptureState.h"
#include "Platform/Audio/PulseInventory.h"
#include "Platform/Audio/PulseRecording.h"
#include "Platform/Audio/PulseSession.h"
#include "Platform/Core/Completion.h"

namespace platform {

// A capture that follows a device: the output that the call plays on, or the default input. Main thread
// unless stated otherwise.
class PulseCapture final : public AudioStream, public PulseSession, private PulseRecording::Listener {
public:
    enum class Delivery { samples, peaks };
    struct Request {
        AudioSourceKind source;
        Delivery delivery = Delivery::samples;
        SystemStreamConfiguration configuration = {}; // the microphone keeps its own format
    };

    PulseCapture(const PulseSettings& settings, Request request, AudioStreamHandlers handlers);
    ~PulseCapture() override;

    // Resolved once sound arrives.
    const Completion<void>& started() const { return m_started; }
    void cancel() override;

private:
    using State = PulseCaptureState;
    using Event = PulseCaptureEvent;

    // A device that is wanted in place of one that still plays, and since when.
    struct PendingSwitch {
        uint32_t source = PA_INVALID_INDEX;
        pa_usec_t since = 0;
    };

    // These run on the connection's thread, except for the last two.
    void connected() override;
    void readDevices();
    void readDevicesAfter(std::chrono::milliseconds delay);
    void follow(const PulseInventory& inventory);
    bool isTooSoon(const PulseInventory& inventory, const PulseSource& wanted);
    void open(const PulseInventory& inventory, const PulseSource& source);
    PulseRecordingFormat formatFor(const PulseSource& source) const;
    // `reason` is reported if this ends the capture, or if nothing is heard before the time limit.
    void take(Event event, const AudioError& reason);
    void enter(State state, const AudioError& reason);
    void reportDevice(const QString& device, bool isFirst);
    void recordingReady(PulseRecording& recording) override;
    void recordingLost(PulseRecording& recording, const AudioError& reason) override;
    void recordingBuffer(PulseRecording& recording, const AudioBuffer& buffer) override;
    void release() override;
    void failed(const AudioError& error) override;

    const Request m_request;
    AudioStreamHandlers m_handlers;
    Completion<void> m_started; // main thread

    // Used on the connection's thread. The state determines which of these exist.
    State m_state = State::connecting;
    PulseInventoryReader m_reader;
    std::unique_ptr<PulseRecording> m_current; // the one that delivers
    std::unique_ptr<PulseRecording> m_next;    // being opened, to take its place
    std::unique_ptr<PulseTimer> m_deadline;
    std::unique_ptr<PulseTimer> m_nextReading;
    PendingSwitch m_pendingSwitch;
};

} // namespace platform
