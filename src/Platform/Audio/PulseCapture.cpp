#include "Platform/Audio/PulseCapture.h"

#include "Platform/Audio/PulseFormat.h"

#include <algorithm>
#include <utility>

namespace platform {

namespace {

using namespace std::chrono_literals;

// How long a device is left alone after its recording has ended or was refused.
constexpr auto retryDelay = 250ms;
// Desktop sounds on the default output are shorter than this, so they do not divert the capture from the
// call.
constexpr auto switchDelay = 2s;
// The rate of the level meter.
constexpr uint32_t peaksPerSecond = 25;

struct StreamName {
    const char* name;
    const char* idSuffix;
};
constexpr StreamName systemStream{"System audio", ".system-audio"};
constexpr StreamName microphoneStream{"Microphone", ".microphone"};
constexpr StreamName meterStream{"Level meter", ".level-meter"};

constexpr auto fixedFormat =
    static_cast<pa_stream_flags_t>(PA_STREAM_FIX_FORMAT | PA_STREAM_FIX_RATE | PA_STREAM_FIX_CHANNELS);
constexpr auto fixedRate = static_cast<pa_stream_flags_t>(PA_STREAM_FIX_RATE | PA_STREAM_FIX_CHANNELS);

// In every state, whatever the capture has may be lost, and whatever it opens may become ready.
constexpr bool isComplete() {
    const auto leads = [](PulseCaptureState from, PulseCaptureEvent event) {
        return std::ranges::any_of(pulseCaptureTransitions,
                                   [&](const auto& row) { return row.from == from && row.event == event; });
    };
    for (auto state = PulseCaptureState::connecting; state != PulseCaptureState::ended;
         state = static_cast<PulseCaptureState>(static_cast<int>(state) + 1)) {
        const auto traits = pulseCaptureTraits(state);
        if (traits.hears != leads(state, PulseCaptureEvent::currentLost) ||
            traits.opens != leads(state, PulseCaptureEvent::nextLost) ||
            traits.opens != leads(state, PulseCaptureEvent::nextReady) ||
            !leads(state, PulseCaptureEvent::nothingWanted) ||
            !leads(state, PulseCaptureEvent::otherWanted)) {
            return false;
        }
    }
    return true;
}
static_assert(isComplete());

PulseStreamIdentity streamIdentity(const StreamName& stream, const AudioClientIdentity& program) {
    return {QLatin1String(stream.name),
            program.id.isEmpty() ? QString() : program.id + QLatin1String(stream.idSuffix)};
}

} // namespace

PulseCapture::PulseCapture(const PulseSettings& settings, Request request, AudioStreamHandlers handlers)
    : PulseSession(settings)
    , m_request(request)
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
            // A new default device is a change of the server, and a stream that pauses or moves is a change
            // of the stream; for devices only arrival and removal matter.
            if (facility == PA_SUBSCRIPTION_EVENT_SERVER || facility == PA_SUBSCRIPTION_EVENT_SINK_INPUT ||
                type != PA_SUBSCRIPTION_EVENT_CHANGE) {
                static_cast<PulseCapture*>(self)->readDevices();
            }
        },
        this);
    auto mask = PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SOURCE;
    if (m_request.source == AudioSourceKind::systemOutput) {
        mask |= PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SINK_INPUT;
    }
    if (auto* operation =
            pa_context_subscribe(context, static_cast<pa_subscription_mask_t>(mask), nullptr, nullptr)) {
        pa_operation_unref(operation);
    }
    readDevices();
}

void PulseCapture::readDevices() {
    if (m_state == State::ended) {
        return;
    }
    m_reader.read(m_connection.context(), [this](const std::optional<PulseInventory>& inventory) {
        try {
            if (!inventory) {
                throw AudioError(AudioError::Kind::failed,
                                 QStringLiteral("The sound server does not list its devices."));
            }
            follow(*inventory);
        } catch (const AudioError& error) {
            fail(error);
        }
    });
}

void PulseCapture::readDevicesAfter(std::chrono::milliseconds delay) {
    m_nextReading = std::make_unique<PulseTimer>(m_connection, delay, [this] { readDevices(); });
}

void PulseCapture::follow(const PulseInventory& inventory) {
    const bool system = m_request.source == AudioSourceKind::systemOutput;
    const AudioError missing(AudioError::Kind::noDevice, system ? QStringLiteral("There is no sound output.")
                                                                : QStringLiteral("There is no microphone."));
    const auto* wanted = inventory.source(m_request.source);
    if (!wanted) {
        take(Event::nothingWanted, missing);
    } else if (m_current && m_current->source() == wanted->index) {
        m_pendingSwitch = {};
        take(Event::currentWanted, missing);
    } else if (m_current && isTooSoon(inventory, *wanted)) {
        take(Event::currentWanted, missing);
    } else if (m_next && m_next->source() == wanted->index) {
        take(Event::nextWanted, missing);
    } else {
        take(Event::otherWanted, {AudioError::Kind::noDevice,
                                  QStringLiteral("The sound device went away and no other took its place.")});
        open(inventory, *wanted);
    }
}

// A device that is heard and still plays is not left for one that started to play a moment ago.
bool PulseCapture::isTooSoon(const PulseInventory& inventory, const PulseSource& wanted) {
    const auto* current = inventory.source(m_current->source());
    if (!current || !inventory.plays(current->monitorOf)) {
        return false;
    }
    const auto now = pa_rtclock_now();
    if (m_pendingSwitch.source != wanted.index) {
        m_pendingSwitch = {wanted.index, now};
    }
    const auto waited = std::chrono::microseconds(now - m_pendingSwitch.since);
    if (waited >= switchDelay) {
        return false;
    }
    readDevicesAfter(std::chrono::ceil<std::chrono::milliseconds>(switchDelay - waited));
    return true;
}

void PulseCapture::open(const PulseInventory& inventory, const PulseSource& source) {
    PulseRecording::Listener& listener = *this;
    m_next.reset();
    m_next = std::make_unique<PulseRecording>(m_connection, source, inventory.deviceName(source),
                                              formatFor(source), listener);
}

PulseRecordingFormat PulseCapture::formatFor(const PulseSource& source) const {
    const bool system = m_request.source == AudioSourceKind::systemOutput;
    PulseRecordingFormat result{
        .sample = source.sample,
        .channelMap = source.channelMap,
        .fragment = m_settings.fragment,
        .stream = streamIdentity(system ? systemStream : microphoneStream, m_settings.identity)};
    if (m_request.delivery == Delivery::peaks) {
        result.sample = {.format = PA_SAMPLE_FLOAT32LE, .rate = peaksPerSecond, .channels = 1};
        pa_channel_map_init_mono(&result.channelMap);
        result.fragment = 1000ms / peaksPerSecond;
        result.flags = PA_STREAM_PEAK_DETECT;
        result.stream = streamIdentity(meterStream, m_settings.identity);
    } else if (system) {
        // Captures all channels of the output, because servers differ in how they mix them down, and may
        // clip.
        result.sample.format = PA_SAMPLE_FLOAT32LE;
        result.sample.rate = m_request.configuration.sampleRate;
    } else {
        result.sample.format = deliverableFormat(source.sample.format);
        result.flags = result.sample.format == source.sample.format ? fixedFormat : fixedRate;
    }
    return result;
}

void PulseCapture::take(Event event, const AudioError& reason) {
    enter(pulseCaptureNext(m_state, event), reason);
}

void PulseCapture::enter(State state, const AudioError& reason) {
    if (state == State::ended) {
        fail(reason);
        return;
    }
    m_state = state;
    const auto traits = pulseCaptureTraits(state);
    if (!traits.hears) {
        m_current.reset();
    }
    if (!traits.opens) {
        m_next.reset();
    }
    if (!traits.limited) {
        m_deadline.reset();
    } else if (!m_deadline) {
        m_deadline = std::make_unique<PulseTimer>(m_connection, m_settings.followLimit,
                                                  [this, reason] { fail(reason); });
    }
}

void PulseCapture::recordingReady(PulseRecording& recording) {
    const bool isFirst = m_state == State::opening;
    m_current = std::move(m_next);
    m_pendingSwitch = {};
    take(Event::nextReady, {AudioError::Kind::failed, QString()});
    reportDevice(recording.device(), isFirst);
}

void PulseCapture::reportDevice(const QString& device, bool isFirst) {
    toMain([this, device, isFirst] {
        // Either call may destroy this object.
        const auto started = m_started;
        const auto report = m_handlers.deviceChanged;
        if (isFirst) {
            stopTimeout();
        }
        if (report) {
            report(device);
        }
        if (isFirst) {
            started.resolve();
        }
    });
}

void PulseCapture::recordingLost(PulseRecording& recording, const AudioError& reason) {
    const bool isCurrent = &recording == m_current.get();
    (isCurrent ? m_current : m_next).reset();
    take(isCurrent ? Event::currentLost : Event::nextLost, reason);
    if (m_state != State::ended) {
        readDevicesAfter(retryDelay);
    }
}

void PulseCapture::recordingBuffer(PulseRecording& recording, const AudioBuffer& buffer) {
    if (&recording == m_current.get()) {
        m_handlers.buffer(buffer);
    }
}

void PulseCapture::release() {
    m_state = State::ended;
    m_reader.cancel();
    m_current.reset();
    m_next.reset();
    m_deadline.reset();
    m_nextReading.reset();
}

void PulseCapture::failed(const AudioError& error) {
    const auto started = m_started;
    if (!started.isDone()) {
        started.fail(error);
    } else if (const auto stopped = std::exchange(m_handlers.stoppedWithError, nullptr)) {
        stopped(QString::fromUtf8(error.what()));
    }
}

} // namespace platform
