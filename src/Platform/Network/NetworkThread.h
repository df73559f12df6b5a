#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace boost::asio {
class io_context;
}

namespace platform {

// The process's one network thread. It sleeps while nothing arrives and nothing is sent.
class NetworkThread : public std::enable_shared_from_this<NetworkThread> {
public:
    // One name lookup: numeric addresses, or the resolver's text if there is none.
    struct Addresses {
        std::vector<std::string> numeric;
        std::string failure;
    };
    using LookupHandler = std::function<void(Addresses)>;

    // Main thread. Starts the thread, or joins those who use it already. It ends with the last of these
    // references: work queued before still runs, and the caller waits for it. Ordinary ones
    // (shared_from_this()) keep the object alive, on which nothing runs any more then.
    static std::shared_ptr<NetworkThread> shared();
    ~NetworkThread();
    NetworkThread(const NetworkThread&) = delete;
    NetworkThread& operator=(const NetworkThread&) = delete;

    boost::asio::io_context& context();
    // Network thread, where the handler runs too. The system's resolver blocks for as long as it likes, so it
    // gets a thread for each call; nobody waits for a late one.
    void lookUp(const std::string& host, LookupHandler handler);

private:
    NetworkThread();
    void join();

    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace platform
