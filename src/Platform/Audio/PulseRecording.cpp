#include "Platform/Audio/PulseRecording.h"

#include "Platform/Audio/PulseFormat.h"

#include <algorithm>

namespace platform {

namespace {

AudioError refused(pa_context* context) {
    return {AudioError::Kind::failed, QStringLiteral("The sound server refuses the recording: %1.")
                                          .arg(pulseErrorText(pa_context_errno(context)))};
}

} // namespace

void PulseRecording::Disconnect::operator()(pa_stream* stream) const {
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_moved_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
}

PulseRecording::PulseRecording(const PulseConnection& connection, const PulseSource& source,
                               const PulseRecordingFormat& format, std::chrono::milliseconds fragment,
                               Listener& listener)
    : m_listener(listener)
    , m_source(source.index)
    , m_stream(pa_stream_new(connection.context(), "Audio capture", &format.sample, nullptr)) {
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

    const auto microseconds = static_cast<pa_usec_t>(std::chrono::microseconds(fragment).count());
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<uint32_t>(-1);
    attributes.fragsize = static_cast<uint32_t>(pa_usec_to_bytes(microseconds, &format.sample));
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY | format.fixed);
    if (pa_stream_connect_record(stream, source.name.constData(), &attributes, flags) < 0) {
        throw refused(connection.context());
    }
}

void PulseRecording::stateChanged() {
    switch (pa_stream_get_state(m_stream.get())) {
    case PA_STREAM_READY: {
        const auto* format = pa_stream_get_sample_spec(m_stream.get());
        if (deliverableFormat(format->format) != format->format) {
            // Another device has taken the name since it was looked at.
            m_listener.recordingEnded(*this);
            return;
        }
        m_buffer.description = describe(*format);
        const auto place = pa_stream_get_device_index(m_stream.get());
        if (place == m_source) {
            m_listener.recordingReady(*this);
        } else {
            m_listener.recordingMoved(*this, place);
        }
        break;
    }
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED:
        m_listener.recordingEnded(*this);
        break;
    default:
        break;
    }
}

void PulseRecording::placeChanged() {
    const auto place = pa_stream_get_device_index(m_stream.get());
    if (place != m_source) {
        m_listener.recordingMoved(*this, place);
    }
}

void PulseRecording::deliver() {
    auto* stream = m_stream.get();
    const void* data = nullptr;
    size_t length = 0;
    while (pa_stream_peek(stream, &data, &length) >= 0 && length > 0) {
        if (!data) {
            // A hole: samples that were lost on the way. Silence keeps the time right.
            m_silence.resize(std::max(m_silence.size(), length));
            data = m_silence.data();
        }
        m_buffer.data = static_cast<const std::byte*>(data);
        m_buffer.length = length;
        m_listener.recordingBuffer(*this, m_buffer);
        pa_stream_drop(stream);
    }
}

} // namespace platform
