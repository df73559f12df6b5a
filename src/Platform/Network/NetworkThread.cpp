#include "Platform/Network/NetworkThread.h"

#include "Platform/Network/Asio.h"

#include <boost/asio/executor_work_guard.hpp>

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include <netdb.h>
#include <pthread.h>

namespace platform {

namespace {

// What a lookup can still use if it outlives the network thread.
struct Gate {
    std::mutex mutex;
    asio::io_context* context = nullptr;
};

NetworkThread::Addresses resolve(const std::string& host) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_ADDRCONFIG;
    addrinfo* list = nullptr;
    NetworkThread::Addresses addresses;
    if (const int code = getaddrinfo(host.c_str(), nullptr, &hints, &list); code != 0) {
        addresses.failure = gai_strerror(code);
        return addresses;
    }
    for (const auto* entry = list; entry; entry = entry->ai_next) {
        std::array<char, NI_MAXHOST> text{};
        if (getnameinfo(entry->ai_addr, entry->ai_addrlen, text.data(), text.size(), nullptr, 0,
                        NI_NUMERICHOST) == 0) {
            addresses.numeric.emplace_back(text.data());
        }
    }
    freeaddrinfo(list);
    return addresses;
}

} // namespace

struct NetworkThread::State {
    asio::io_context context{1};
    std::optional<asio::executor_work_guard<Executor>> work{context.get_executor()};
    std::shared_ptr<Gate> gate = std::make_shared<Gate>();
    std::map<int, LookupHandler> lookups;
    int nextLookup = 0;
    std::thread thread;
};

std::shared_ptr<NetworkThread> NetworkThread::shared() {
    static std::weak_ptr<NetworkThread> current;
    auto user = current.lock();
    if (!user) {
        std::shared_ptr<NetworkThread> thread(new NetworkThread);
        auto* object = thread.get();
        user = {object, [thread](NetworkThread*) mutable { std::exchange(thread, nullptr)->join(); }};
        current = user;
    }
    return user;
}

NetworkThread::NetworkThread()
    : m_state(std::make_unique<State>()) {
    m_state->gate->context = &m_state->context;
    m_state->thread = std::thread([state = m_state.get()] { state->context.run(); });
    pthread_setname_np(m_state->thread.native_handle(), "network");
}

NetworkThread::~NetworkThread() {
    join();
}

void NetworkThread::join() {
    if (!m_state->thread.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(m_state->gate->mutex);
        m_state->gate->context = nullptr;
    }
    m_state->work.reset();
    asio::post(m_state->context, [state = m_state.get()] { state->context.stop(); });
    m_state->thread.join();
}

boost::asio::io_context& NetworkThread::context() {
    return m_state->context;
}

void NetworkThread::lookUp(const std::string& host, LookupHandler handler) {
    const int id = m_state->nextLookup++;
    m_state->lookups.emplace(id, std::move(handler));
    std::thread([gate = m_state->gate, state = m_state.get(), id, host] {
        auto addresses = resolve(host);
        const std::lock_guard lock(gate->mutex);
        if (gate->context) {
            asio::post(*gate->context, [state, id, addresses = std::move(addresses)]() mutable {
                auto waiting = state->lookups.extract(id);
                waiting.mapped()(std::move(addresses));
            });
        }
    }).detach();
}

} // namespace platform
