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

// What a sound source delivers: a block of interleaved samples and their format. The data is valid during the
// call.
struct AudioBuffer {
    enum class Type { audio, screen };

    Type type = Type::audio;
    // False: the source did not say anything about the format.
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
    // On the stream's own thread, one buffer at a time.
    std::function<void(const AudioBuffer&)> buffer;
    // On the main thread, once: the stream ended by itself (server gone, device gone and none to follow).
    std::function<void(QString reason)> stoppedWithError;
    // On the main thread, may be left out: the device that is heard from now on, by its name for people.
    std::function<void(QString device)> deviceChanged = {};
};

// A running capture. Destroying it stops it; no handler runs after the destructor returned.
class AudioStream {
public:
    virtual ~AudioStream() = default;
};

struct AudioEndpoint {
    QString id;   // decimal index
    QString name; // for people
};

enum class AudioSourceKind { systemOutput, microphone };

// A place that sound goes to.
struct AudioOutput {
    QString name; // for people
    bool muted = false;
    double volume = 1; // factor of the amplitude, of the loudest channel
    bool plays = false;
};

// What can be listened to right now.
struct AudioSurvey {
    int outputs = 0;        // each with a monitor
    int playingStreams = 0; // programs that play
    // The output whose monitor is the system's sound.
    std::optional<AudioOutput> heardOutput = {};
    // The other outputs that play, by their names for people.
    QStringList otherPlayingOutputs = {};
};

struct SystemStreamConfiguration {
    uint32_t sampleRate = 48000; // Hz; the server resamples the monitor to it
    // Nothing has to be done for it: this program plays no sound, and a monitor cannot leave one program out.
    bool excludesCurrentProcessAudio = true;
};

// The sound server. Operations run on the main thread and may be called again after any failure: each start
// connects anew if the server was gone. Nothing is held open while nothing is captured.
class AudioHost {
public:
    virtual ~AudioHost() = default;

    // Throws AudioError when no sound server answers.
    virtual QCoro::Task<AudioSurvey> survey() = 0;
    // Float32 at the asked rate, with the channels of the output that it is heard from: the default one, or
    // the one that plays when the default plays nothing and exactly one other does. Follows within 3 s. Never
    // anything but a monitor: when none can be had the stream stops with an error. Throws AudioError.
    virtual QCoro::Task<std::unique_ptr<AudioStream>>
    startSystemStream(SystemStreamConfiguration configuration, AudioStreamHandlers handlers) = 0;
    // Returns the default input, or nullopt when there is none (a monitor is not an input).
    virtual QCoro::Task<std::optional<AudioEndpoint>> defaultInput() = 0;
    // The default input in its native format; follows the default input within 3 s, the format may then
    // change from one buffer to the next. Throws AudioError.
    virtual QCoro::Task<std::unique_ptr<AudioStream>> startMicrophoneStream(AudioStreamHandlers handlers) = 0;
    // How loud the source is, as its stream would hear it: floats, each the peak of 40 ms, mixed to one
    // channel. Throws AudioError.
    virtual QCoro::Task<std::unique_ptr<AudioStream>> startMeter(AudioSourceKind source,
                                                                 AudioStreamHandlers handlers) = 0;
    // Inputs without the monitors; outputs.
    virtual QCoro::Task<QList<AudioEndpoint>> inputs() = 0;
    virtual QCoro::Task<QList<AudioEndpoint>> outputs() = 0;
};

// How the program shows itself in the sound server's mixer.
struct AudioClientIdentity {
    QString name = {}; // empty: the application's name
    QString id = {};   // reverse-domain form
    QString iconName = {};
};

// PulseAudio, or PipeWire in its place, by libpulse. `server` empty: the user's own. Streams outlive their
// host; an operation still under way when the host goes away throws OperationCancelled.
std::unique_ptr<AudioHost> makePulseAudioHost(const QString& server = {}, AudioClientIdentity identity = {});

} // namespace platform
