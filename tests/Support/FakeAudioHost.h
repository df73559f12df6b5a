#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Platform/Core/Completion.h"

#include <atomic>
#include <mutex>
#include <span>
#include <vector>

// A sound server of a test's own. Operations run on the main thread; buffers are pushed by any thread and
// their handler runs on it, one at a time for each stream, as with the real one.
class FakeAudioHost : public platform::AudioHost {
    using StreamPointer = std::unique_ptr<platform::AudioStream>;
    using Endpoints = QList<platform::AudioEndpoint>;

    // A stream's destructor waits for the handler under way; a handler may itself end its stream.
    struct Channel {
        std::recursive_mutex mutex;
        platform::AudioStreamHandlers handlers;
        std::atomic<bool> open = true;
    };

    class Stream : public platform::AudioStream {
    public:
        explicit Stream(std::shared_ptr<Channel> channel)
            : m_channel(std::move(channel)) {}
        ~Stream() override {
            const std::lock_guard lock(m_channel->mutex);
            m_channel->open = false;
        }

    private:
        std::shared_ptr<Channel> m_channel;
    };

    // The newest stream of one kind.
    class Source {
    public:
        StreamPointer start(platform::AudioStreamHandlers handlers) {
            auto channel = std::make_shared<Channel>();
            channel->handlers = std::move(handlers);
            ++opened;
            const std::lock_guard lock(m_mutex);
            m_channel = channel;
            return std::make_unique<Stream>(std::move(channel));
        }
        std::shared_ptr<Channel> current() const {
            const std::lock_guard lock(m_mutex);
            return m_channel.lock();
        }
        bool push(const platform::AudioBuffer& buffer) {
            const auto channel = current();
            if (!channel) {
                return false;
            }
            const std::lock_guard lock(channel->mutex);
            if (channel->open) {
                channel->handlers.buffer(buffer);
            }
            return channel->open;
        }
        bool push(std::span<const float> samples, double rate, uint32_t channels) {
            platform::AudioBuffer buffer;
            buffer.description = platform::AudioStreamDescription{rate, channels, 32, true};
            buffer.data = std::as_bytes(samples).data();
            buffer.length = samples.size_bytes();
            return push(buffer);
        }
        void hear(const QString& device) {
            if (const auto channel = current()) {
                channel->handlers.deviceChanged(device);
            }
        }
        void fail(const QString& reason) {
            if (const auto channel = current()) {
                if (const auto handler = std::exchange(channel->handlers.stoppedWithError, nullptr)) {
                    handler(reason);
                }
            }
        }
        // A thread that pushes may hold an ended stream's channel for a moment longer.
        bool runs() const {
            const auto channel = current();
            return channel && channel->open;
        }
        int opened = 0;

    private:
        mutable std::mutex m_mutex;
        std::weak_ptr<Channel> m_channel;
    };

public:
    // The answers of the next operations. An error set here is thrown instead.
    platform::AudioSurvey surveyResult{1, 0};
    std::optional<platform::AudioEndpoint> input = platform::AudioEndpoint{"1", "Test microphone"};
    Endpoints inputList;
    std::optional<platform::AudioError> surveyError;
    std::optional<platform::AudioError> listError;
    std::optional<platform::AudioError> systemError;
    std::optional<platform::AudioError> microphoneError;

    // From now on no stream starts, or each one again.
    void setFailing(const std::optional<platform::AudioError>& error) {
        surveyError = systemError = microphoneError = error;
    }
    // From now on every operation waits until release().
    void hold() { m_held = true; }
    // From now on a started stream runs, but its start is answered at release() only.
    void holdResults() { m_resultsHeld = true; }
    // Lets everything go on.
    void release() {
        m_held = m_resultsHeld = false;
        releaseWaiting();
    }
    // Lets the operations that wait now go on, and holds the next ones.
    void releaseWaiting() {
        for (const auto& waiting : std::exchange(m_waiting, {})) {
            waiting.resolve();
        }
    }
    int waitingOperations() const { return static_cast<int>(m_waiting.size()); }

    // All system streams asked for, and how many of each kind were opened.
    const std::vector<platform::SystemStreamConfiguration>& systemStarts() const { return m_systemStarts; }
    int systemStreamsOpened() const { return m_system.opened; }
    int microphoneStreamsOpened() const { return m_microphone.opened; }
    bool systemRuns() const { return m_system.runs(); }
    bool microphoneRuns() const { return m_microphone.runs(); }

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

    // The newest meter of the microphone. Main thread.
    Source& microphoneMeter() { return m_microphoneMeter; }

    // The stream ends by itself. Main thread.
    void failSystem(const QString& reason) { m_system.fail(reason); }
    void failMicrophone(const QString& reason) { m_microphone.fail(reason); }

    QCoro::Task<platform::AudioSurvey> survey() override {
        co_await gate(m_held, &surveyError);
        const auto result = surveyResult;
        co_return result;
    }
    QCoro::Task<StreamPointer> startSystemStream(platform::SystemStreamConfiguration configuration,
                                                 platform::AudioStreamHandlers handlers) override {
        m_systemStarts.push_back(configuration);
        return start(&m_system, &systemError, std::move(handlers));
    }
    QCoro::Task<StreamPointer> startMicrophoneStream(platform::AudioStreamHandlers handlers) override {
        return start(&m_microphone, &microphoneError, std::move(handlers));
    }
    QCoro::Task<std::optional<platform::AudioEndpoint>> defaultInput() override {
        co_await gate(m_held);
        // QCoro moves whatever co_return names, a member too.
        auto result = input;
        co_return result;
    }
    QCoro::Task<StreamPointer> startMeter(platform::AudioSourceKind source,
                                          platform::AudioStreamHandlers handlers) override {
        const bool system = source == platform::AudioSourceKind::systemOutput;
        return start(system ? &m_systemMeter : &m_microphoneMeter, system ? &systemError : &microphoneError,
                     std::move(handlers));
    }
    QCoro::Task<Endpoints> inputs() override { return listed(inputList); }
    QCoro::Task<Endpoints> outputs() override { return listed({}); }

private:
    using Failure = const std::optional<platform::AudioError>*;

    QCoro::Task<void> gate(bool held, Failure failure = nullptr) {
        if (held) {
            platform::Completion<void> released;
            m_waiting.push_back(released);
            co_await std::move(released);
        }
        if (failure && *failure) {
            throw platform::AudioError(**failure);
        }
    }
    QCoro::Task<StreamPointer> start(Source* source, Failure failure,
                                     platform::AudioStreamHandlers handlers) {
        co_await gate(m_held, failure);
        auto stream = source->start(std::move(handlers));
        co_await gate(m_resultsHeld);
        co_return stream;
    }
    QCoro::Task<Endpoints> listed(Endpoints list) {
        co_await gate(m_held, &listError);
        co_return list;
    }

    bool m_held = false;
    bool m_resultsHeld = false;
    std::vector<platform::Completion<void>> m_waiting;
    std::vector<platform::SystemStreamConfiguration> m_systemStarts;
    Source m_system;
    Source m_microphone;
    Source m_systemMeter;
    Source m_microphoneMeter;
};
