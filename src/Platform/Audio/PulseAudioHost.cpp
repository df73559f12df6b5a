#include "Platform/Audio/PulseCapture.h"
#include "Platform/Audio/PulseQuery.h"

#include <QObject>

namespace platform {

namespace {

// Cancels a running session when its host is destroyed. Sessions live in coroutine frames, which may outlive
// the host.
template<typename Session>
QMetaObject::Connection cancelWithHost(const QObject& host, Session& session) {
    return QObject::connect(&host, &QObject::destroyed, session.lifetime(), [&session] { session.cancel(); });
}

QCoro::Task<PulseInventory> readInventory(PulseSettings settings, const QObject* host) {
    auto query = std::make_unique<PulseQuery>(settings);
    cancelWithHost(*host, *query);
    query->start();
    auto inventory = co_await query->result();
    co_return inventory;
}

QCoro::Task<std::unique_ptr<AudioStream>> startCapture(PulseSettings settings, const QObject* host,
                                                       PulseCapture::Request request,
                                                       AudioStreamHandlers handlers) {
    auto capture = std::make_unique<PulseCapture>(settings, request, std::move(handlers));
    const auto connection = cancelWithHost(*host, *capture);
    capture->start();
    co_await capture->started();
    QObject::disconnect(connection);
    std::unique_ptr<AudioStream> stream = std::move(capture);
    co_return stream;
}

AudioSurvey makeSurvey(const PulseInventory& inventory) {
    AudioSurvey result{.outputs = static_cast<int>(inventory.sinks.size()),
                       .playingStreams = static_cast<int>(inventory.playing.size())};
    const auto* heard = inventory.heardSink();
    if (heard) {
        result.heardOutput = AudioOutput{.name = heard->description,
                                         .muted = heard->muted,
                                         .volume = heard->volume,
                                         .plays = inventory.plays(heard->index)};
    }
    for (const auto& sink : inventory.sinks) {
        if (&sink != heard && inventory.plays(sink.index)) {
            result.otherPlayingOutputs.append(sink.description);
        }
    }
    return result;
}

AudioEndpoint endpoint(uint32_t index, const QString& name) {
    return {QString::number(index), name};
}

class PulseAudioHost final : public AudioHost {
public:
    explicit PulseAudioHost(PulseSettings settings)
        : m_settings(std::move(settings)) {}

    QCoro::Task<AudioSurvey> survey() override {
        const auto inventory = co_await readInventory(m_settings, &m_lifetime);
        auto result = makeSurvey(inventory);
        co_return result;
    }

    QCoro::Task<std::unique_ptr<AudioStream>> startSystemStream(SystemStreamConfiguration configuration,
                                                                AudioStreamHandlers handlers) override {
        return startCapture(m_settings, &m_lifetime,
                            {.source = AudioSourceKind::systemOutput, .configuration = configuration},
                            std::move(handlers));
    }

    QCoro::Task<std::optional<AudioEndpoint>> defaultInput() override {
        const auto inventory = co_await readInventory(m_settings, &m_lifetime);
        std::optional<AudioEndpoint> result;
        if (const auto* source = inventory.microphone()) {
            result = endpoint(source->index, source->description);
        }
        co_return result;
    }

    QCoro::Task<std::unique_ptr<AudioStream>> startMicrophoneStream(AudioStreamHandlers handlers) override {
        return startCapture(m_settings, &m_lifetime, {.source = AudioSourceKind::microphone},
                            std::move(handlers));
    }

    QCoro::Task<std::unique_ptr<AudioStream>> startMeter(AudioSourceKind source,
                                                         AudioStreamHandlers handlers) override {
        return startCapture(m_settings, &m_lifetime,
                            {.source = source, .delivery = PulseCapture::Delivery::peaks},
                            std::move(handlers));
    }

    QCoro::Task<QList<AudioEndpoint>> inputs() override {
        const auto inventory = co_await readInventory(m_settings, &m_lifetime);
        QList<AudioEndpoint> result;
        for (const auto& source : inventory.sources) {
            if (!source.isMonitor()) {
                result.append(endpoint(source.index, source.description));
            }
        }
        co_return result;
    }

    QCoro::Task<QList<AudioEndpoint>> outputs() override {
        const auto inventory = co_await readInventory(m_settings, &m_lifetime);
        QList<AudioEndpoint> result;
        for (const auto& sink : inventory.sinks) {
            result.append(endpoint(sink.index, sink.description));
        }
        co_return result;
    }

private:
    const PulseSettings m_settings;
    // Destroyed with the host.
    QObject m_lifetime;
};

} // namespace

std::unique_ptr<AudioHost> makePulseAudioHost(const QString& server, AudioClientIdentity identity) {
    return makePulseAudioHost(PulseSettings{.server = server, .identity = std::move(identity)});
}

std::unique_ptr<AudioHost> makePulseAudioHost(PulseSettings settings) {
    return std::make_unique<PulseAudioHost>(std::move(settings));
}

} // namespace platform
