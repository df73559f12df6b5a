#include "Platform/Storage/SecretServiceClient.h"

#include <libsecret/secret.h>

namespace platform {

namespace {

using Status = SecretStore::Status;

struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template<typename T>
using Object = std::unique_ptr<T, ObjectUnref>;

struct ItemListFree {
    void operator()(GList* items) const { g_list_free_full(items, g_object_unref); }
};
using ItemList = std::unique_ptr<GList, ItemListFree>;

struct TableUnref {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using Attributes = std::unique_ptr<GHashTable, TableUnref>;

struct ValueUnref {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, ValueUnref>;

class Error {
public:
    Error() = default;
    ~Error() { g_clear_error(&m_error); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;

    GError** out() { return &m_error; }
    explicit operator bool() const { return m_error; }
    bool is(GQuark domain, std::initializer_list<int> codes) const {
        return m_error->domain == domain && std::ranges::find(codes, m_error->code) != codes.end();
    }

    // Returns what the error means for the caller, or `otherwise` if it has no special meaning.
    Status status(Status otherwise) const {
        const bool silent = is(G_IO_ERROR, {G_IO_ERROR_TIMED_OUT, G_IO_ERROR_CANCELLED}) ||
                            is(G_DBUS_ERROR, {G_DBUS_ERROR_TIMED_OUT, G_DBUS_ERROR_TIMEOUT});
        if (silent || is(SECRET_ERROR, {SECRET_ERROR_IS_LOCKED})) {
            // A service that does not answer may answer later.
            return Status::locked;
        }
        if (is(G_DBUS_ERROR, {G_DBUS_ERROR_ACCESS_DENIED, G_DBUS_ERROR_AUTH_FAILED})) {
            return Status::refused;
        }
        return is(SECRET_ERROR, {SECRET_ERROR_NO_SUCH_OBJECT}) ? Status::notFound : otherwise;
    }

private:
    GError* m_error = nullptr;
};

// The schema of plain named secrets, which general tools use too.
const SecretSchema* schema() {
    static const auto* instance =
        secret_schema_new("org.freedesktop.Secret.Generic", SECRET_SCHEMA_NONE, "service",
                          SECRET_SCHEMA_ATTRIBUTE_STRING, "account", SECRET_SCHEMA_ATTRIBUTE_STRING, nullptr);
    return instance;
}

Attributes attributesOf(const QString& service, const QString& name) {
    return Attributes(secret_attributes_build(schema(), "service", service.toUtf8().constData(), "account",
                                              name.toUtf8().constData(), nullptr));
}

// Directs signals for the library's objects to this context, and never to the main thread's loop.
class ContextScope {
public:
    explicit ContextScope(GMainContext* context)
        : m_context(context) {
        g_main_context_push_thread_default(m_context);
    }
    ~ContextScope() { g_main_context_pop_thread_default(m_context); }
    ContextScope(const ContextScope&) = delete;
    ContextScope& operator=(const ContextScope&) = delete;

private:
    GMainContext* m_context;
};

} // namespace

struct SecretServiceClient::Session {
    QByteArray owner;
    GMainContext* context = g_main_context_new();
    Object<GCancellable> cancellable{g_cancellable_new()};
    Object<SecretService> service;
    std::atomic<bool> stale = false;

    ~Session() {
        release();
        g_main_context_unref(context);
    }

    void deliverSignals() {
        while (g_main_context_iteration(context, FALSE)) {
        }
    }

    void release() {
        service.reset();
        deliverSignals();
    }

    Status open() {
        if (service) {
            return Status::ok;
        }
        Error error;
        // The library shares this connection. By default GLib ends the program when the bus goes away.
        const Object<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable.get(), error.out()));
        if (!bus) {
            return error.status(Status::absent);
        }
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
        service.reset(secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION,
                                               cancellable.get(), error.out()));
        if (!service && error.is(G_IO_ERROR, {G_IO_ERROR_TIMED_OUT})) {
            // The service could not be started, or does not answer.
            return Status::absent;
        }
        return service ? Status::ok : error.status(Status::absent);
    }

    // Runs the operation, and repeats it with a new session if the current one may have died with its
    // service.
    template<typename Operation>
    Status attempt(Operation operation, bool mayRepeat = true) {
        const ContextScope scope(context);
        if (stale.exchange(false)) {
            // Release the session before delivering its signals: the library fails on those of the service's
            // successor.
            release();
        }
        deliverSignals();
        for (;;) {
            const bool reused = service != nullptr;
            if (const auto opened = open(); opened != Status::ok) {
                return opened;
            }
            Error error;
            const Status status = operation(error);
            if (!error) {
                return status;
            }
            const auto meaning = error.status(Status::absent);
            if (meaning != Status::absent) {
                return meaning;
            }
            release();
            if (!reused || !mayRepeat) {
                return Status::refused;
            }
        }
    }

    // Returns null without an error if the user has no default collection.
    Object<SecretCollection> defaultCollection(Error& error) {
        return Object<SecretCollection>(
            secret_collection_for_alias_sync(service.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE,
                                             cancellable.get(), error.out()));
    }

    Status collectionStatus(Error& error) {
        const auto collection = defaultCollection(error);
        return collection && secret_collection_get_locked(collection.get()) ? Status::locked : Status::ok;
    }

    ItemList search(const QString& serviceName, const QString& name, Error& error) {
        return ItemList(secret_service_search_sync(service.get(), schema(),
                                                   attributesOf(serviceName, name).get(), SECRET_SEARCH_ALL,
                                                   cancellable.get(), error.out()));
    }

    // The search could load the values too, but it hides the reason for a failure.
    std::optional<QByteArray> load(SecretItem* item, Error& error) {
        secret_item_load_secret_sync(item, cancellable.get(), error.out());
        const Value value(secret_item_get_secret(item));
        if (!value) {
            return std::nullopt;
        }
        gsize length = 0;
        const auto* bytes = secret_value_get(value.get(), &length);
        return QByteArray(bytes, static_cast<qsizetype>(length));
    }

    // Returns the status if no item was found: notFound, or locked if a locked collection may hide it.
    Status missing(Error& error) {
        return collectionStatus(error) == Status::locked ? Status::locked : Status::notFound;
    }
};

SecretServiceClient::SecretServiceClient(const QString& owner)
    : m_session(std::make_unique<Session>()) {
    m_session->owner = owner.toUtf8();
}

SecretServiceClient::~SecretServiceClient() = default;

void SecretServiceClient::cancel() {
    g_cancellable_cancel(m_session->cancellable.get());
}

void SecretServiceClient::renew() {
    m_session->stale = true;
}

void SecretServiceClient::prepare() {
    m_session->attempt([](Error&) { return Status::ok; });
}

SecretStore::Reading SecretServiceClient::lookup(const QString& service, const QString& name) {
    SecretStore::Reading reading;
    reading.status = m_session->attempt([&](Error& error) {
        reading.value.reset();
        const auto items = m_session->search(service, name, error);
        if (error || !items) {
            return error ? Status::refused : m_session->missing(error);
        }
        bool locked = false;
        guint64 newest = 0;
        for (auto* entry = items.get(); entry && !error; entry = entry->next) {
            auto* item = static_cast<SecretItem*>(entry->data);
            const auto modified = secret_item_get_modified(item);
            if (secret_item_get_locked(item)) {
                locked = true;
            } else if (!reading.value || modified > newest) {
                reading.value = m_session->load(item, error);
                newest = modified;
            }
        }
        return reading.value ? Status::ok : locked ? Status::locked : Status::refused;
    });
    return reading;
}

SecretStore::Status SecretServiceClient::store(const QString& service, const QString& name,
                                               const QByteArray& value, bool mayPrompt) {
    return m_session->attempt([&](Error& error) {
        const auto collection = m_session->defaultCollection(error);
        if (error) {
            return Status::refused;
        }
        const bool locked = collection ? secret_collection_get_locked(collection.get()) : !mayPrompt;
        if (locked) {
            return Status::locked;
        }
        const QByteArray label = m_session->owner + ": " + name.toUtf8();
        const Value secret(secret_value_new(value.constData(), value.size(), "text/plain"));
        const bool stored = secret_service_store_sync(
            m_session->service.get(), schema(), attributesOf(service, name).get(), SECRET_COLLECTION_DEFAULT,
            label.constData(), secret.get(), m_session->cancellable.get(), error.out());
        return stored ? Status::ok : Status::refused;
    });
}

SecretStore::Status SecretServiceClient::remove(const QString& service, const QString& name) {
    return m_session->attempt([&](Error& error) {
        const auto items = m_session->search(service, name, error);
        if (error || !items) {
            return error ? Status::refused : m_session->missing(error);
        }
        bool locked = false;
        for (auto* entry = items.get(); entry && !error; entry = entry->next) {
            auto* item = static_cast<SecretItem*>(entry->data);
            if (secret_item_get_locked(item)) {
                locked = true;
            } else {
                secret_item_delete_sync(item, m_session->cancellable.get(), error.out());
            }
        }
        return locked ? Status::locked : Status::ok;
    });
}

SecretStore::Status SecretServiceClient::unlock() {
    const auto prompt = [&](Error& error) {
        const auto collection = m_session->defaultCollection(error);
        if (!collection) {
            return Status::ok;
        }
        GList only{collection.get(), nullptr, nullptr};
        const auto unlocked = secret_service_unlock_sync(m_session->service.get(), &only,
                                                         m_session->cancellable.get(), nullptr, error.out());
        return unlocked > 0 ? Status::ok : Status::refused;
    };
    constexpr bool mayRepeat = false;
    return m_session->attempt(prompt, mayRepeat);
}

SecretStore::Status SecretServiceClient::collectionStatus() {
    return m_session->attempt([&](Error& error) { return m_session->collectionStatus(error); });
}

} // namespace platform
