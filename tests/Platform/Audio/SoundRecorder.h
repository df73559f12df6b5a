#pragma once

#include "Platform/Audio/PulseSettings.h"
#include "sandbox/desktop/PrivateSound.h"
#include "tests/Support/WaitFor.h"

#include <cmath>
#include <cstring>
#include <mutex>
#include <span>
#include <vector>

// Keeps what a stream delivers: the first channel as floats, and the format of the last buffer. Outlives the
// stream.
class SoundRecorder {
public:
    platform::AudioStreamHandlers handlers() {
        return {.buffer = [this](const platform::AudioBuffer& buffer) { take(buffer); },
                .stoppedWithError =
                    [this](const QString& text) {
                        ++stops;
                        reason = text;
                    },
                .deviceChanged = [this](const QString& name) { devices.append(name); }};
    }

    std::vector<float> samples() const {
        const std::lock_guard lock(m_mutex);
        return m_samples;
    }
    platform::AudioStreamDescription format() const {
        const std::lock_guard lock(m_mutex);
        return m_format;
    }
    // Samples of the first channel that are not silent.
    qsizetype heard() const {
        const std::lock_guard lock(m_mutex);
        return m_heard;
    }
    qsizetype count() const {
        const std::lock_guard lock(m_mutex);
        return static_cast<qsizetype>(m_samples.size());
    }
    // Whether the last 4,800 samples are silent.
    bool isSilentNow() const {
        const std::lock_guard lock(m_mutex);
        return std::ranges::all_of(std::span(m_samples).last(4800), [](float s) { return s == 0; });
    }
    // Main thread.
    int stops = 0;
    QString reason;
    QStringList devices;

private:
    void take(const platform::AudioBuffer& buffer) {
        const std::lock_guard lock(m_mutex);
        m_format = buffer.description.value();
        const auto width = m_format.bitsPerChannel / 8;
        for (size_t at = 0; at + width <= buffer.length; at += width * m_format.channelsPerFrame) {
            const auto sample = value(buffer.data + at);
            m_samples.push_back(sample);
            m_heard += std::abs(sample) > 1e-4F ? 1 : 0;
        }
    }

    float value(const std::byte* at) const {
        const auto read = [at](auto sample) {
            std::memcpy(&sample, at, sizeof sample);
            return static_cast<float>(sample);
        };
        return m_format.isFloat                ? read(0.0F)
               : m_format.bitsPerChannel == 16 ? read(int16_t()) / 0x1p15F
                                               : read(int32_t()) / 0x1p31F;
    }

    mutable std::mutex m_mutex;
    std::vector<float> m_samples;
    qsizetype m_heard = 0;
    platform::AudioStreamDescription m_format;
};

using AudioStreamPointer = std::unique_ptr<platform::AudioStream>;

// The tests of sound run once on each server.
inline SoundServerKind soundServerOfThisRun() {
    return qEnvironmentVariable("CORVANE_SOUND_SERVER") == u"pipewire" ? SoundServerKind::pipeWire
                                                                       : SoundServerKind::pulseAudio;
}

// A test with a sound server of its own for each function.
class SoundTest : public QObject {
    Q_OBJECT

protected:
    AudioStreamPointer start(bool system, SoundRecorder& recorder) {
        return ::waitFor(opening(system, recorder));
    }
    QCoro::Task<AudioStreamPointer> opening(bool system, SoundRecorder& recorder) {
        return system ? m_host->startSystemStream({}, recorder.handlers())
                      : m_host->startMicrophoneStream(recorder.handlers());
    }
    // A device of one kind; the number of its module.
    quint32 add(bool system, const QString& name, const SoundFormat& format = {}) {
        return system ? m_sound->addSink(name, format) : m_sound->addMicrophone(name, format);
    }
    void choose(bool system, const QString& name) {
        system ? m_sound->setDefaultSink(name) : m_sound->setDefaultSource(name);
    }
    // An output and the default microphone.
    void addBoth() {
        add(true, "candidate");
        add(false, "mic");
        choose(false, "mic");
    }
    // Something that runs without a sound, so that the sink counts as playing.
    SoundPlayback playSilence(const QString& sink) { return m_sound->playTone(sink, 400, 0, 30); }
    // Something loud, for half a minute.
    SoundPlayback play(const QString& sink) { return m_sound->playTone(sink, 400, 0.5, 30); }
    // What a microphone made with this format delivers: PipeWire has all sound as floats at its own rate.
    bool keepsFormats() const { return m_sound->kind() == SoundServerKind::pulseAudio; }
    QString list(const char* what) const { return m_sound->control({"list", what}); }

    std::unique_ptr<PrivateSound> m_sound;
    std::unique_ptr<platform::AudioHost> m_host;

protected Q_SLOTS:
    void init() {
        m_sound = std::make_unique<PrivateSound>(soundServerOfThisRun());
        m_sound->start();
        m_sound->useInThisProcess();
        m_host =
            makePulseAudioHost(platform::PulseSettings{.server = m_sound->address(),
                                                       .identity = {.name = "Sound test", .id = "test.sound"},
                                                       .answerLimit = std::chrono::milliseconds(3000)});
    }
    void cleanup() {
        m_host.reset();
        m_sound.reset();
    }
};

inline double rms(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples) {
        sum += double(sample) * double(sample);
    }
    return std::sqrt(sum / double(samples.size()));
}
