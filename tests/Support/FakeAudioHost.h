#pragma once

#include "AudioHost.h"
#include "Completion.h"

#include <initializer_list>
#include <mutex>
#include <span>
#include <vector>

// A sound server of a test's own. Operations run on the main thread; buffers are pushed by any thread and
// their handler runs on it, one at a time for each stream, as with the real one.
class FakeAudioHost : public platform::AudioHost {
public:
    // The answers of the next operations. An error set here is thrown instead.
    platform::AudioSurvey surveyResult{1, 0};
    std::optional<platform::AudioEndpoint> input = platform::AudioEndpoint{"1", "Test microphone"};
    QList<platform::AudioEndpoint> inputList;
    std::optional<platform::AudioError> surveyError;
    std::optional<platform::AudioError> listError;
    std::optional<platform::AudioError> systemError;
    std::optional<platform::AudioError> microphoneError;

    // From now on every operation waits until release().
    void hold() { m_held = true; }
    // From now on a started stream runs, but who asked for it hears of it at release() only.
    void holdResults() { m_resultsHeld = true; }
    // Lets everything go on.
    void release();
    // Lets the operations that wait now go on, and holds the next ones.
    void releaseWaiting();
    int waitingOperations() const { return static_cast<int>(m_waiting.size()); }

    // All system streams asked for, and how many of each kind were opened.
    const std::vector<platform::SystemStreamConfiguration>& systemStarts() const { return m_systemStarts; }
    int systemStreamsOpened() const { return m_system.opened; }
    int microphoneStreamsOpened() const { return m_microphone.opened; }
    bool systemRuns() const { return m_system.current() != nullptr; }
    bool microphoneRuns() const { return m_microphone.current() != nullptr; }

    // False when no stream runs. Any thread.
    bool pushSystem(const platform::AudioBuffer& buffer) { return m_system.push(buffer); }
    bool pushSystem(std::span<const float> interleaved, uint32_t channels = 1) {
        return m_system.push(interleaved, 48000.0, channels);
    }
    bool pushMicrophone(const platform::AudioBuffer& buffer) { return m_microphone.push(buffer); }
    bool pushMicrophone(std::span<const float> samples, double sampleRate = 48000.0) {
        return m_microphone.push(samples, sampleRate, 1);
    }

    // The handlers of the running stream, to call them when they are no longer expected.
    platform::AudioStreamHandlers systemHandlers() const { return m_system.current()->handlers; }
    platform::AudioStreamHandlers microphoneHandlers() const { return m_microphone.current()->handlers; }

    // The stream ends by itself. Main thread.
    void failSystem(const QString& reason) { m_system.fail(reason); }
    void failMicrophone(const QString& reason) { m_microphone.fail(reason); }

    QCoro::Task<platform::AudioSurvey> survey() override;
    QCoro::Task<std::unique_ptr<platform::AudioStream>>
    startSystemStream(platform::SystemStreamConfiguration configuration,
                      platform::AudioStreamHandlers handlers) override;
    QCoro::Task<std::optional<platform::AudioEndpoint>> defaultInput() override;
    QCoro::Task<std::unique_ptr<platform::AudioStream>>
    startMicrophoneStream(platform::AudioStreamHandlers handlers) override;
    QCoro::Task<QList<platform::AudioEndpoint>> inputs() override { return listed(inputList); }
    QCoro::Task<QList<platform::AudioEndpoint>> outputs() override { return listed({}); }

private:
    // A stream's destructor waits for the handler under way; a handler may itself end its stream.
    struct Channel {
        std::recursive_mutex mutex;
        platform::AudioStreamHandlers handlers;
        bool open = true;
    };
    class Stream;

    // The newest stream of one kind.
    class Source {
    public:
        std::unique_ptr<platform::AudioStream> start(platform::AudioStreamHandlers handlers);
        std::shared_ptr<Channel> current() const;
        bool push(const platform::AudioBuffer& buffer);
        bool push(std::span<const float> samples, double rate, uint32_t channels);
        void fail(const QString& reason);
        int opened = 0;

    private:
        mutable std::mutex m_mutex;
        std::weak_ptr<Channel> m_channel;
    };

    QCoro::Task<void> gate(bool held);
    QCoro::Task<QList<platform::AudioEndpoint>> listed(QList<platform::AudioEndpoint> list);

    bool m_held = false;
    bool m_resultsHeld = false;
    std::vector<platform::Completion<void>> m_waiting;
    std::vector<platform::SystemStreamConfiguration> m_systemStarts;
    Source m_system;
    Source m_microphone;
};
