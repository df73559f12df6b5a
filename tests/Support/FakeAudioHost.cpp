#include "FakeAudioHost.h"

using namespace platform;

class FakeAudioHost::Stream : public AudioStream {
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

std::unique_ptr<AudioStream> FakeAudioHost::Source::start(AudioStreamHandlers handlers) {
    auto channel = std::make_shared<Channel>();
    channel->handlers = std::move(handlers);
    ++opened;
    const std::lock_guard lock(m_mutex);
    m_channel = channel;
    return std::make_unique<Stream>(std::move(channel));
}

std::shared_ptr<FakeAudioHost::Channel> FakeAudioHost::Source::current() const {
    const std::lock_guard lock(m_mutex);
    return m_channel.lock();
}

bool FakeAudioHost::Source::push(const AudioBuffer& buffer) {
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

void FakeAudioHost::Source::fail(const QString& reason) {
    if (const auto channel = current()) {
        const auto handler = std::exchange(channel->handlers.stoppedWithError, nullptr);
        if (handler) {
            handler(reason);
        }
    }
}

void FakeAudioHost::release() {
    m_held = false;
    m_resultsHeld = false;
    releaseWaiting();
}

void FakeAudioHost::releaseWaiting() {
    for (const auto& waiting : std::exchange(m_waiting, {})) {
        waiting.resolve();
    }
}

QCoro::Task<void> FakeAudioHost::gate(bool held) {
    if (held) {
        Completion<void> released;
        m_waiting.push_back(released);
        co_await std::move(released);
    }
}

bool FakeAudioHost::Source::push(std::span<const float> samples, double rate, uint32_t channels) {
    AudioBuffer buffer;
    buffer.description = AudioStreamDescription{rate, channels, 32, true};
    buffer.data = std::as_bytes(samples).data();
    buffer.length = samples.size_bytes();
    return push(buffer);
}

QCoro::Task<AudioSurvey> FakeAudioHost::survey() {
    co_await gate(m_held);
    if (surveyError) {
        throw AudioError(*surveyError);
    }
    co_return surveyResult;
}

QCoro::Task<std::unique_ptr<AudioStream>>
FakeAudioHost::startSystemStream(SystemStreamConfiguration configuration, AudioStreamHandlers handlers) {
    m_systemStarts.push_back(configuration);
    co_await gate(m_held);
    if (systemError) {
        throw AudioError(*systemError);
    }
    auto stream = m_system.start(std::move(handlers));
    co_await gate(m_resultsHeld);
    co_return stream;
}

QCoro::Task<std::optional<AudioEndpoint>> FakeAudioHost::defaultInput() {
    co_await gate(m_held);
    co_return input;
}

QCoro::Task<std::unique_ptr<AudioStream>> FakeAudioHost::startMicrophoneStream(AudioStreamHandlers handlers) {
    co_await gate(m_held);
    if (microphoneError) {
        throw AudioError(*microphoneError);
    }
    auto stream = m_microphone.start(std::move(handlers));
    co_await gate(m_resultsHeld);
    co_return stream;
}

QCoro::Task<QList<AudioEndpoint>> FakeAudioHost::listed(QList<AudioEndpoint> list) {
    co_await gate(m_held);
    if (listError) {
        throw AudioError(*listError);
    }
    co_return list;
}
