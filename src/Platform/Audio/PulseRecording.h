#pragma once

#include "Platform/Audio/PulseInventory.h"

namespace platform {

// How one stream appears in the sound server's mixer.
struct PulseStreamIdentity {
    QString name;
    QString id; // reverse-domain form; empty for the program's id
};

// The format in which samples are requested.
struct PulseRecordingFormat {
    pa_sample_spec sample;
    pa_channel_map channelMap;
    // Flags that fix the format make the server keep the device's own format instead.
    pa_stream_flags_t flags = PA_STREAM_NOFLAGS;
    std::chrono::milliseconds fragment{};
    PulseStreamIdentity stream;
};

// One recording from one source. The server is told never to move it. Used and destroyed on the connection's
// thread; a call to the listener, except for a buffer's, may destroy it.
class PulseRecording {
public:
    class Listener {
    public:
        // Sound from the requested source follows.
        virtual void recordingReady(PulseRecording& recording) = 0;
        // The recording was refused, ended by the server or moved to another source, or it delivers no
        // buffers although it runs, as happens when the server's session manager has died.
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
    const QString& device() const { return m_device; } // display name

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
    std::vector<std::byte> m_silence; // zeros, which are silence in every deliverable format
    int m_emptyWatches = 0;           // consecutive intervals without a buffer
    std::unique_ptr<PulseTimer> m_watch;
    std::unique_ptr<pa_stream, Disconnect> m_stream;
};

} // namespace platform
