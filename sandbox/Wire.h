// One accepted connection, plain or under TLS.
#pragma once

#include "sandbox/AsioSupport.h"

#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>

#include <memory>
#include <optional>
#include <string>

namespace sandbox {

// Used on the stand-in's network thread only. Every read and write throws boost::system::system_error at the
// end of the connection.
class Wire : public std::enable_shared_from_this<Wire> {
public:
    explicit Wire(tcp::socket socket);

    // Performs the server's side of a TLS handshake.
    asio::awaitable<void> secure(asio::ssl::context& context);
    bool isSecure() const { return m_tls.has_value(); }
    // Returns the server name that the client requested in the handshake; empty without one.
    const std::string& serverName() const { return m_serverName; }

    // Returns everything up to the next blank line, without that. Throws if it is longer than `limit` bytes.
    asio::awaitable<std::string> readHead(std::size_t limit);
    asio::awaitable<std::string> readExactly(std::size_t count);
    asio::awaitable<void> write(std::string bytes);
    asio::awaitable<void> pause(std::chrono::milliseconds time);

    // Ends the connection with a TCP reset.
    void drop();
    // Closes the connection as TLS and TCP require; waits 2 s at most for the peer.
    asio::awaitable<void> finish();
    bool isOpen() const { return m_socket.is_open(); }
    asio::any_io_executor executor() { return m_socket.get_executor(); }

private:
    asio::awaitable<void> fill();

    tcp::socket m_socket;
    std::optional<asio::ssl::stream<tcp::socket&>> m_tls;
    asio::steady_timer m_timer;
    std::string m_serverName;
    std::string m_buffer;
};

} // namespace sandbox
