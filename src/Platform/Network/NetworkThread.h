#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace boost::asio {
class io_context;
}

namespace platform {

// The process's only network thread. It sleeps while there is no traffic.
class NetworkThread : public std::enable_shared_from_this<NetworkThread> {
public:
    // The result of a name lookup: numeric addresses, or the resolver's text if there are none.
    struct Addresses {
        std::vector<std::string> numeric;
        std::string failure;
    };
    using LookupHandler = std::function<void(Addresses)>;

    // Returns a reference that keeps the thread running; the first one starts it. When the last such
    // reference is released, queued work still runs and the caller waits for it. Ordinary references
    // (shared_from_this()) keep only the object alive, not the thread. Main thread.
    static std::shared_ptr<NetworkThread> shared();
    ~NetworkThread();
    NetworkThread(const NetworkThread&) = delete;
    NetworkThread& operator=(const NetworkThread&) = delete;

    boost::asio::io_context& context();
    // Looks up a host name. Call it on the network thread, where the handler runs too. The system's resolver
    // may block for any length of time, so each call has its own thread; nobody waits for a late one.
    void lookUp(const std::string& host, LookupHandler handler);

private:
    NetworkThread();
    void join();

    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace platform
