#pragma once

#include "Platform/Audio/PulseInventory.h"

namespace platform {

// How one stream shows itself in the sound server's mixer.
struct PulseStreamIdentity {
    QString name;
    QString id; // in reverse-domain form; empty: the program's
};

// How samples are asked for.
struct PulseRecordingFormat {
    pa_sample_spec sample;
    pa_channel_map channelMap;
    // Those that fix the format have the server keep to the device's own one instead.
    pa_stream_flags_t flags = PA_STREAM_NOFLAGS;
    std::chrono::milliseconds fragment{};
    PulseStreamIdentity stream;
};

// One recording on one source. The server is told never to move it. On the connection's thread, where it also
// has to be destroyed; a call to the listener, other than a buffer's, may destroy it.
class PulseRecording {
public:
    class Listener {
    public:
        // Nothing has been moved: sound from the asked source follows.
        virtual void recordingReady(PulseRecording& recording) = 0;
        // Refused, ended by the server, put on another source, or silent in a way that no device is: a
        // recording that brings no buffers at all although it runs, as when the server's session manager has
        // died.
        virtual void recordingLost(PulseRecording& recording, const AudioError& reason) = 0;
        virtual void recordingBuffer(PulseRecording& recording, const AudioBuffer& buffer) = 0;

    protected:
        ~Listener() = default;
    };

    // Throws AudioError.
    PulseRecording(const PulseConnection& connection, const PulseSource& source, QString device,
                   const PulseRecordingFormat& format, Listener& listener);
    PulseRecording(const PulseRecording&) = delete;
    PulseRecording& operator=(const PulseRecording&) = delete;

    uint32_t source() const { return m_source; }
    const QString& device() const { return m_device; } // its name for people

private:
    void stateChanged();
    void becomeReady();
    void placeChanged();
    void deliver();
    void watch();
    void lose(AudioError::Kind kind, const QString& text);

    struct Disconnect {
        void operator()(pa_stream* stream) const;
    };

    const PulseConnection& m_connection;
    Listener& m_listener;
    const uint32_t m_source;
    const QString m_device;
    AudioBuffer m_buffer;
    std::vector<std::byte> m_silence; // all zero: each deliverable format has its silence there
    int m_emptyWatches = 0;           // in a row, each an interval without a buffer
    std::unique_ptr<PulseTimer> m_watch;
    std::unique_ptr<pa_stream, Disconnect> m_stream;
};

} // namespace platform
