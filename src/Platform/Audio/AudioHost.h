#pragma once

#include <QCoroTask>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

namespace platform {

struct AudioStreamDescription {
    double sampleRate = 48000.0; // Hz
    uint32_t channelsPerFrame = 1;
    uint32_t bitsPerChannel = 16;
    bool isFloat = false;
};

// A block of interleaved samples from a sound source, with their format. The data is valid only during the
// call.
struct AudioBuffer {
    enum class Type { audio, screen };

    Type type = Type::audio;
    // False if the source did not state the format.
    bool hasFormat = true;
    std::optional<AudioStreamDescription> description;
    const std::byte* data = nullptr;
    size_t length = 0; // bytes
};

class AudioError : public std::runtime_error {
public:
    enum class Kind { noServer, noDevice, notAMonitor, timedOut, failed };

    AudioError(Kind kind, const QString& text)
        : std::runtime_error(text.toStdString())
        , m_kind(kind) {}
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

struct AudioStreamHandlers {
    // Called on the stream's own thread, one buffer at a time.
    std::function<void(const AudioBuffer&)> buffer;
    // Called on the main thread, once, if the stream ends by itself: the server is gone, or the device is
    // gone and there is no other.
    std::function<void(QString reason)> stoppedWithError;
    // Optional. Called on the main thread with the display name of the device that is heard from now on.
    std::function<void(QString device)> deviceChanged = {};
};

// A running capture. Destroying it stops it; no handler runs after the destructor has returned.
class AudioStream {
public:
    virtual ~AudioStream() = default;
};

struct AudioEndpoint {
    QString id;   // decimal index
    QString name; // display name
};

enum class AudioSourceKind { systemOutput, microphone };

// An output device.
struct AudioOutput {
    QString name; // display name
    bool muted = false;
    double volume = 1; // amplitude factor of the loudest channel
    bool plays = false;
};

// What can be captured at the moment.
struct AudioSurvey {
    int outputs = 0;        // each with a monitor
    int playingStreams = 0; // streams that are playing
    // The output whose monitor is captured as the system's sound.
    std::optional<AudioOutput> heardOutput = {};
    // The display names of the other outputs that are playing.
    QStringList otherPlayingOutputs = {};
};

struct SystemStreamConfiguration {
    uint32_t sampleRate = 48000; // Hz; the server resamples the monitor to it
    // Always holds: this program plays no sound, and a monitor cannot leave one program out.
    bool excludesCurrentProcessAudio = true;
};

// The sound server. Operations run on the main thread and may be repeated after any failure: each start
// reconnects if the server was gone. No connection is kept while nothing is captured.
class AudioHost {
public:
    virtual ~AudioHost() = default;

    // Returns what can be captured. Throws AudioError if no sound server answers.
    virtual QCoro::Task<AudioSurvey> survey() = 0;
    // Captures the system's sound as float32 at the requested rate, with the channels of the output that it
    // is heard from: the default output or, if that is idle and exactly one other plays, that one. Follows a
    // change within 3 s. Captures nothing but a monitor: the stream stops with an error if there is none.
    // Throws AudioError.
    virtual QCoro::Task<std::unique_ptr<AudioStream>>
    startSystemStream(SystemStreamConfiguration configuration, AudioStreamHandlers handlers) = 0;
    // Returns the default input, or nullopt when there is none (a monitor is not an input).
    virtual QCoro::Task<std::optional<AudioEndpoint>> defaultInput() = 0;
    // Captures the default input in its native format. Follows a change of the default input within 3 s,
    // after which the format may differ. Throws AudioError.
    virtual QCoro::Task<std::unique_ptr<AudioStream>> startMicrophoneStream(AudioStreamHandlers handlers) = 0;
    // Measures the level of the source as its stream would hear it: one float for each 40 ms, their peak,
    // mixed to one channel. Throws AudioError.
    virtual QCoro::Task<std::unique_ptr<AudioStream>> startMeter(AudioSourceKind source,
                                                                 AudioStreamHandlers handlers) = 0;
    // Return the inputs, without monitors, and the outputs.
    virtual QCoro::Task<QList<AudioEndpoint>> inputs() = 0;
    virtual QCoro::Task<QList<AudioEndpoint>> outputs() = 0;
};

// How the program appears in the sound server's mixer.
struct AudioClientIdentity {
    QString name = {}; // empty: the application's name
    QString id = {};   // reverse-domain form
    QString iconName = {};
};

// Connects to PulseAudio, or to PipeWire in its place, by libpulse. An empty `server` means the user's own.
// Streams outlive their host; an operation still under way when the host is destroyed throws
// OperationCancelled.
std::unique_ptr<AudioHost> makePulseAudioHost(const QString& server = {}, AudioClientIdentity identity = {});

} // namespace platform
