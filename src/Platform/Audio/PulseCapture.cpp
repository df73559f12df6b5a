#include "Platform/Audio/PulseCapture.h"

#include "Platform/Audio/PulseFormat.h"

#include <utility>

namespace platform {

namespace {

using namespace std::chrono_literals;

// Before a device whose recording was ended or refused is tried again.
constexpr auto retryDelay = 250ms;

constexpr auto fixedFormat =
    static_cast<pa_stream_flags_t>(PA_STREAM_FIX_FORMAT | PA_STREAM_FIX_RATE | PA_STREAM_FIX_CHANNELS);
constexpr auto fixedRate = static_cast<pa_stream_flags_t>(PA_STREAM_FIX_RATE | PA_STREAM_FIX_CHANNELS);

} // namespace

PulseCapture::PulseCapture(Kind kind, const PulseSettings& settings, SystemStreamConfiguration configuration,
                           AudioStreamHandlers handlers)
    : PulseSession(settings)
    , m_kind(kind)
    , m_configuration(configuration)
    , m_handlers(std::move(handlers)) {}

PulseCapture::~PulseCapture() {
    shutDown();
}

void PulseCapture::cancel() {
    shutDown();
    const auto started = m_started;
    started.fail(OperationCancelled());
}

void PulseCapture::connected() {
    auto* context = m_connection.context();
    pa_context_set_subscribe_callback(
        context,
        [](pa_context*, pa_subscription_event_type_t event, uint32_t, void* self) {
            const auto facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
            const auto type = event & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
            // A new default is a change of the server; of the devices only coming and going counts.
            if (facility == PA_SUBSCRIPTION_EVENT_SERVER || type != PA_SUBSCRIPTION_EVENT_CHANGE) {
                static_cast<PulseCapture*>(self)->look();
            }
        },
        this);
    constexpr auto mask = static_cast<pa_subscription_mask_t>(
        PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE);
    if (auto* operation = pa_context_subscribe(context, mask, nullptr, nullptr)) {
        pa_operation_unref(operation);
    }
    look();
}

void PulseCapture::look() {
    if (m_released) {
        return;
    }
    m_reader.read(m_connection.context(), [this](const std::optional<PulseInventory>& inventory) {
        try {
            if (!inventory) {
                throw AudioError(AudioError::Kind::failed,
                                 QStringLiteral("The sound server does not name its devices."));
            }
            follow(*inventory);
        } catch (const AudioError& error) {
            fail(error);
        }
    });
}

void PulseCapture::follow(const PulseInventory& inventory) {
    const bool system = m_kind == Kind::systemOutput;
    if (const auto place = std::exchange(m_movedTo, std::nullopt); place && system) {
        // A place that is gone again, or none, is a lost device like any other.
        const auto* source = inventory.source(*place);
        if (source && !source->isMonitor()) {
            throw AudioError(
                AudioError::Kind::notAMonitor,
                QStringLiteral("The sound server moved the recording of the system's sound to an input."));
        }
    }
    const auto* wanted = system ? inventory.systemSource() : inventory.microphone();
    if (!wanted) {
        m_next.reset();
        if (!m_running) {
            throw AudioError(AudioError::Kind::noDevice, system ? QStringLiteral("There is no sound output.")
                                                                : QStringLiteral("There is no microphone."));
        }
        waitForDevice();
    } else if (m_current && m_current->source() == wanted->index) {
        m_next.reset();
        m_deadline.reset();
    } else if (!m_next || m_next->source() != wanted->index) {
        open(*wanted);
    }
}

void PulseCapture::open(const PulseSource& source) {
    waitForDevice();
    m_next.reset();
    PulseRecording::Listener& listener = *this;
    m_next = std::make_unique<PulseRecording>(m_connection, source, formatFor(source), m_settings.fragment,
                                              listener);
}

PulseRecordingFormat PulseCapture::formatFor(const PulseSource& source) const {
    if (m_kind == Kind::systemOutput) {
        return {.sample = {.format = PA_SAMPLE_FLOAT32LE,
                           .rate = m_configuration.sampleRate,
                           .channels = static_cast<uint8_t>(m_configuration.channelCount)}};
    }
    const auto format = deliverableFormat(source.sample.format);
    return {.sample = {.format = format, .rate = source.sample.rate, .channels = source.sample.channels},
            .fixed = format == source.sample.format ? fixedFormat : fixedRate};
}

void PulseCapture::waitForDevice() {
    if (m_running && !m_deadline) {
        m_deadline = std::make_unique<PulseTimer>(m_connection, m_settings.followLimit, [this] {
            fail({AudioError::Kind::noDevice,
                  QStringLiteral("The sound device went away and no other took its place.")});
        });
    }
}

void PulseCapture::recordingReady(PulseRecording&) {
    m_current = std::move(m_next);
    m_deadline.reset();
    if (!std::exchange(m_running, true)) {
        toMain([this] {
            liftLimit();
            m_startReported = true;
            const auto started = m_started;
            started.resolve();
        });
    }
}

void PulseCapture::recordingEnded(PulseRecording& recording) {
    (&recording == m_current.get() ? m_current : m_next).reset();
    if (!m_running) {
        fail({AudioError::Kind::failed, QStringLiteral("The sound server refuses the recording: %1.")
                                            .arg(pulseErrorText(pa_context_errno(m_connection.context())))});
        return;
    }
    waitForDevice();
    m_retry = std::make_unique<PulseTimer>(m_connection, retryDelay, [this] { look(); });
}

void PulseCapture::recordingMoved(PulseRecording& recording, uint32_t source) {
    // What it delivers from here on is not what was asked for.
    (&recording == m_current.get() ? m_current : m_next).reset();
    m_movedTo = source;
    waitForDevice();
    look();
}

void PulseCapture::recordingBuffer(PulseRecording& recording, const AudioBuffer& buffer) {
    if (&recording == m_current.get()) {
        m_handlers.buffer(buffer);
    }
}

void PulseCapture::release() {
    m_released = true;
    m_reader.cancel();
    m_current.reset();
    m_next.reset();
    m_deadline.reset();
    m_retry.reset();
}

void PulseCapture::failed(const AudioError& error) {
    if (std::exchange(m_startReported, true)) {
        if (const auto stopped = std::exchange(m_handlers.stoppedWithError, nullptr)) {
            stopped(QString::fromUtf8(error.what()));
        }
    } else {
        const auto started = m_started;
        started.fail(error);
    }
}

} // namespace platform
