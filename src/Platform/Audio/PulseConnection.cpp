#include "Platform/Audio/PulseConnection.h"

#include <QCoreApplication>

#include <utility>

namespace platform {

namespace {

AudioError connectionError(int code, bool wasReady) {
    if (wasReady) {
        return {AudioError::Kind::noServer, QStringLiteral("The sound server went away.")};
    }
    switch (code) {
    case PA_ERR_ACCESS:
    case PA_ERR_AUTHKEY:
        return {AudioError::Kind::failed, QStringLiteral("The sound server refused access.")};
    default:
        return {AudioError::Kind::noServer,
                QStringLiteral("No sound server is running. Start PipeWire or PulseAudio and try again.")};
    }
}

// How the program appears in the sound server's mixer. Each stream also has an id and a role of its own.
pa_proplist* clientProperties(const AudioClientIdentity& identity) {
    auto* properties = pa_proplist_new();
    const auto name = identity.name.isEmpty() ? QCoreApplication::applicationName() : identity.name;
    const auto set = [properties](const char* key, const QString& value) {
        if (!value.isEmpty()) {
            pa_proplist_sets(properties, key, value.toUtf8().constData());
        }
    };
    set(PA_PROP_APPLICATION_NAME, name);
    set(PA_PROP_APPLICATION_ID, identity.id);
    set(PA_PROP_APPLICATION_ICON_NAME, identity.iconName);
    return properties;
}

} // namespace

QString pulseErrorText(int code) {
    return QString::fromUtf8(pa_strerror(code));
}

PulseConnection::PulseConnection(const PulseSettings& settings)
    : m_settings(settings) {}

PulseConnection::~PulseConnection() {
    close([] {});
}

void PulseConnection::open(Handlers handlers) {
    m_handlers = std::move(handlers);
    m_loop = pa_threaded_mainloop_new();
    if (!m_loop) {
        throw AudioError(AudioError::Kind::failed, QStringLiteral("The sound connection could not be made."));
    }
    // On the connection's thread, because reading the configuration and looking up a host may take time.
    pa_mainloop_api_once(
        api(), [](pa_mainloop_api*, void* self) { static_cast<PulseConnection*>(self)->connect(); }, this);
    if (pa_threaded_mainloop_start(m_loop) < 0) {
        pa_threaded_mainloop_free(std::exchange(m_loop, nullptr));
        throw AudioError(AudioError::Kind::failed, QStringLiteral("The sound thread could not be started."));
    }
}

void PulseConnection::close(const std::function<void()>& release) {
    if (!m_loop) {
        return;
    }
    pa_threaded_mainloop_lock(m_loop);
    m_over = true;
    release();
    if (m_context) {
        pa_context_set_state_callback(m_context, nullptr, nullptr);
        pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
        pa_context_disconnect(m_context);
        pa_context_unref(std::exchange(m_context, nullptr));
    }
    pa_threaded_mainloop_unlock(m_loop);
    pa_threaded_mainloop_stop(m_loop);
    pa_threaded_mainloop_free(std::exchange(m_loop, nullptr));
}

void PulseConnection::connect() {
    if (m_over) {
        return;
    }
    auto* properties = clientProperties(m_settings.identity);
    m_context = pa_context_new_with_proplist(api(), nullptr, properties);
    pa_proplist_free(properties);
    if (!m_context) {
        reportLoss(PA_ERR_INTERNAL);
        return;
    }
    pa_context_set_state_callback(
        m_context, [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->stateChanged(); },
        this);
    const auto server = m_settings.server.toUtf8();
    if (pa_context_connect(m_context, server.isEmpty() ? nullptr : server.constData(), PA_CONTEXT_NOAUTOSPAWN,
                           nullptr) < 0) {
        reportLoss(pa_context_errno(m_context));
    }
}

void PulseConnection::stateChanged() {
    switch (pa_context_get_state(m_context)) {
    case PA_CONTEXT_READY:
        m_ready = true;
        m_handlers.ready();
        break;
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        reportLoss(pa_context_errno(m_context));
        break;
    default:
        break;
    }
}

void PulseConnection::reportLoss(int code) {
    if (!std::exchange(m_over, true)) {
        m_handlers.lost(connectionError(code, m_ready));
    }
}

PulseTimer::PulseTimer(const PulseConnection& connection, std::chrono::milliseconds delay,
                       std::function<void()> fire)
    : m_api(connection.api())
    , m_fire(std::move(fire)) {
    const auto due = pa_rtclock_now() + static_cast<pa_usec_t>(std::chrono::microseconds(delay).count());
    m_event = pa_context_rttime_new(
        connection.context(), due,
        [](pa_mainloop_api*, pa_time_event*, const timeval*, void* self) {
            // The callback may destroy the timer.
            if (auto work = std::exchange(static_cast<PulseTimer*>(self)->m_fire, nullptr)) {
                work();
            }
        },
        this);
}

PulseTimer::~PulseTimer() {
    if (m_event) {
        m_api->time_free(m_event);
    }
}

} // namespace platform
