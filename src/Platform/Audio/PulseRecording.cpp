#include "Platform/Audio/PulseRecording.h"

#include "Platform/Audio/PulseFormat.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"

#include <algorithm>

namespace platform {

namespace {

using namespace std::chrono_literals;

// A recording that runs and delivers no buffer for this long has ended.
constexpr auto watchInterval = 500ms;
constexpr int emptyWatchLimit = 4;

AudioError refused(pa_context* context) {
    return {AudioError::Kind::failed, QStringLiteral("The sound server refuses the recording: %1.")
                                          .arg(pulseErrorText(pa_context_errno(context)))};
}

// The server stores volume and mute by role, or else by id, so that a setting for one stream does not apply
// to another. A standard role would share them with other programs.
std::unique_ptr<pa_proplist, decltype(&pa_proplist_free)> properties(const PulseStreamIdentity& stream) {
    std::unique_ptr<pa_proplist, decltype(&pa_proplist_free)> list(pa_proplist_new(), pa_proplist_free);
    const auto set = [&list](const char* key, const QString& value) {
        if (!value.isEmpty()) {
            pa_proplist_sets(list.get(), key, value.toUtf8().constData());
        }
    };
    set(PA_PROP_APPLICATION_ID, stream.id);
    set(PA_PROP_MEDIA_ROLE, stream.id);
    set(PA_PROP_MEDIA_NAME, stream.name);
    return list;
}

} // namespace

void PulseRecording::Disconnect::operator()(pa_stream* stream) const {
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_moved_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
}

PulseRecording::PulseRecording(const PulseConnection& connection, const PulseSource& source, QString device,
                               const PulseRecordingFormat& format, Listener& listener)
    : m_connection(connection)
    , m_listener(listener)
    , m_source(source.index)
    , m_device(std::move(device)) {
    const auto list = properties(format.stream);
    m_stream.reset(pa_stream_new_with_proplist(connection.context(), format.stream.name.toUtf8().constData(),
                                               &format.sample, &format.channelMap, list.get()));
    if (!m_stream) {
        throw refused(connection.context());
    }
    auto* stream = m_stream.get();
    pa_stream_set_state_callback(
        stream, [](pa_stream*, void* self) { static_cast<PulseRecording*>(self)->stateChanged(); }, this);
    pa_stream_set_moved_callback(
        stream, [](pa_stream*, void* self) { static_cast<PulseRecording*>(self)->placeChanged(); }, this);
    pa_stream_set_read_callback(
        stream, [](pa_stream*, size_t, void* self) { static_cast<PulseRecording*>(self)->deliver(); }, this);

    const auto microseconds = static_cast<pa_usec_t>(std::chrono::microseconds(format.fragment).count());
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<uint32_t>(-1);
    attributes.fragsize = static_cast<uint32_t>(pa_usec_to_bytes(microseconds, &format.sample));
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY | format.flags);
    if (pa_stream_connect_record(stream, source.name.constData(), &attributes, flags) < 0) {
        throw refused(connection.context());
    }
}

void PulseRecording::stateChanged() {
    switch (pa_stream_get_state(m_stream.get())) {
    case PA_STREAM_READY:
        becomeReady();
        break;
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED: {
        const auto error = refused(m_connection.context());
        m_listener.recordingLost(*this, error);
        break;
    }
    default:
        break;
    }
}

void PulseRecording::becomeReady() {
    const auto* format = pa_stream_get_sample_spec(m_stream.get());
    if (pa_stream_get_device_index(m_stream.get()) != m_source) {
        placeChanged();
    } else if (deliverableFormat(format->format) != format->format) {
        // Another device has taken the name since the devices were read.
        lose(AudioError::Kind::failed, QStringLiteral("%1 has changed its format."));
    } else {
        m_buffer.description = describe(*format);
        watch();
        m_listener.recordingReady(*this);
    }
}

// From here on it does not deliver what was requested.
void PulseRecording::placeChanged() {
    if (pa_stream_get_device_index(m_stream.get()) != m_source) {
        lose(AudioError::Kind::notAMonitor,
             QStringLiteral("The sound server moved the recording of %1 to another device."));
    }
}

void PulseRecording::watch() {
    const bool rests = pa_stream_is_suspended(m_stream.get()) != 0;
    m_emptyWatches = rests ? 0 : m_emptyWatches + 1;
    if (m_emptyWatches > emptyWatchLimit) {
        lose(AudioError::Kind::failed, QStringLiteral("%1 no longer delivers sound."));
        return;
    }
    m_watch = std::make_unique<PulseTimer>(m_connection, watchInterval, [this] { watch(); });
}

// `text` has a placeholder for the device's name. This may destroy the recording.
void PulseRecording::lose(AudioError::Kind kind, const QString& text) {
    const AudioError error(kind, text.arg(m_device));
    logLine(QStringLiteral("[Audio] ") + errorText(error));
    m_listener.recordingLost(*this, error);
}

void PulseRecording::deliver() {
    auto* stream = m_stream.get();
    const void* data = nullptr;
    size_t length = 0;
    while (pa_stream_peek(stream, &data, &length) >= 0 && length > 0) {
        if (!data) {
            // A hole: samples were lost on the way. Silence keeps the timing right.
            m_silence.resize(std::max(m_silence.size(), length));
            data = m_silence.data();
        }
        m_emptyWatches = 0;
        m_buffer.data = static_cast<const std::byte*>(data);
        m_buffer.length = length;
        m_listener.recordingBuffer(*this, m_buffer);
        pa_stream_drop(stream);
    }
}

} // namespace platform
