#pragma once

#include "Platform/Audio/PulseInventory.h"

namespace platform {

// How samples are asked for.
struct PulseRecordingFormat {
    pa_sample_spec sample;
    // With these the server keeps to the device's own format, rate and channels instead.
    pa_stream_flags_t fixed = PA_STREAM_NOFLAGS;
};

// One recording on one source. The server is told never to move it. On the connection's thread, where it also
// has to be destroyed; a call to the listener, other than a buffer's, may destroy it.
class PulseRecording {
public:
    class Listener {
    public:
        // Nothing has been moved: sound from the asked source follows.
        virtual void recordingReady(PulseRecording& recording) = 0;
        // Refused, or ended by the server.
        virtual void recordingEnded(PulseRecording& recording) = 0;
        // It sits on another source now.
        virtual void recordingMoved(PulseRecording& recording, uint32_t source) = 0;
        virtual void recordingBuffer(PulseRecording& recording, const AudioBuffer& buffer) = 0;

    protected:
        ~Listener() = default;
    };

    // Throws AudioError.
    PulseRecording(const PulseConnection& connection, const PulseSource& source,
                   const PulseRecordingFormat& format, std::chrono::milliseconds fragment,
                   Listener& listener);
    PulseRecording(const PulseRecording&) = delete;
    PulseRecording& operator=(const PulseRecording&) = delete;

    uint32_t source() const { return m_source; }

private:
    void stateChanged();
    void placeChanged();
    void deliver();

    struct Disconnect {
        void operator()(pa_stream* stream) const;
    };

    Listener& m_listener;
    const uint32_t m_source;
    AudioBuffer m_buffer;
    std::vector<std::byte> m_silence; // all zero: each deliverable format has its silence there
    std::unique_ptr<pa_stream, Disconnect> m_stream;
};

} // namespace platform
