#include "Platform/Storage/SecretServiceWatch.h"

#include <gio/gio.h>

namespace platform {

namespace {

constexpr const char* serviceName = "org.freedesktop.secrets";

} // namespace

// Watches the name and the signals of the service, on the current thread's default context.
struct SecretServiceWatch::Subscriptions {
    Events& events;
    SecretServiceClient& client;
    GDBusConnection* bus = nullptr;
    guint name = 0;
    bool known = false;
    std::array<guint, 2> signalIds{};

    Subscriptions(Events& handlers, SecretServiceClient& reader)
        : events(handlers)
        , client(reader)
        , bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
        if (!bus) {
            known = true;
            return;
        }
        g_dbus_connection_set_exit_on_close(bus, FALSE);
        name = g_bus_watch_name_on_connection(bus, serviceName, G_BUS_NAME_WATCHER_FLAGS_NONE, onAppeared,
                                              onVanished, this, nullptr);
        // Services differ in which of the two they send for a lock.
        signalIds[0] = g_dbus_connection_signal_subscribe(
            bus, serviceName, "org.freedesktop.DBus.Properties", "PropertiesChanged", nullptr,
            "org.freedesktop.Secret.Collection", G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
        signalIds[1] = g_dbus_connection_signal_subscribe(bus, serviceName, "org.freedesktop.Secret.Service",
                                                          nullptr, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                          onSignal, this, nullptr);
    }
    ~Subscriptions() {
        if (bus) {
            g_bus_unwatch_name(name);
            for (const auto id : signalIds) {
                g_dbus_connection_signal_unsubscribe(bus, id);
            }
            g_object_unref(bus);
        }
    }
    Subscriptions(const Subscriptions&) = delete;
    Subscriptions& operator=(const Subscriptions&) = delete;

    static void onAppeared(GDBusConnection*, const gchar*, const gchar*, gpointer self) {
        auto* subscriptions = static_cast<Subscriptions*>(self);
        subscriptions->known = true;
        subscriptions->client.renew();
        subscriptions->events.appeared();
    }
    static void onVanished(GDBusConnection*, const gchar*, gpointer self) {
        auto* subscriptions = static_cast<Subscriptions*>(self);
        subscriptions->known = true;
        subscriptions->client.renew();
        subscriptions->events.vanished();
    }
    static void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*,
                         gpointer self) {
        auto* subscriptions = static_cast<Subscriptions*>(self);
        subscriptions->events.changed(subscriptions->client);
    }
};

SecretServiceWatch::SecretServiceWatch(const QString& owner, Events events)
    : m_events(std::move(events))
    , m_client(owner)
    , m_context(g_main_context_new())
    , m_thread([this] { run(); }) {
    // Otherwise the first request would wait for the key exchange between the library and the service.
    post([](SecretServiceClient& client) { client.prepare(); });
}

SecretServiceWatch::~SecretServiceWatch() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_client.cancel();
    g_main_context_wakeup(m_context);
    m_thread.join();
    g_main_context_unref(m_context);
}

void SecretServiceWatch::post(Task task) {
    {
        const std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
    }
    g_main_context_wakeup(m_context);
}

void SecretServiceWatch::run() {
    g_main_context_push_thread_default(m_context);
    {
        Subscriptions subscriptions(m_events, m_client);
        while (subscriptions.known ? runTasks() : !isStopping()) {
            g_main_context_iteration(m_context, TRUE);
        }
    }
    // Their context releases what the subscriptions have left behind.
    while (g_main_context_iteration(m_context, FALSE)) {
    }
    g_main_context_pop_thread_default(m_context);
}

bool SecretServiceWatch::isStopping() {
    const std::lock_guard lock(m_mutex);
    return m_stopping;
}

bool SecretServiceWatch::runTasks() {
    for (;;) {
        Task task;
        {
            const std::lock_guard lock(m_mutex);
            if (m_stopping || m_tasks.empty()) {
                return !m_stopping;
            }
            task = std::move(m_tasks.front());
            m_tasks.pop_front();
        }
        task(m_client);
    }
}

} // namespace platform
