#include "sandbox/Wire.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include <array>

namespace sandbox {

Wire::Wire(tcp::socket socket)
    : m_socket(std::move(socket))
    , m_timer(m_socket.get_executor()) {
    boost::system::error_code ignored;
    m_socket.set_option(tcp::no_delay(true), ignored);
}

asio::awaitable<void> Wire::secure(asio::ssl::context& context) {
    m_tls.emplace(m_socket, context);
    co_await m_tls->async_handshake(asio::ssl::stream_base::server, asio::use_awaitable);
    if (const char* name = SSL_get_servername(m_tls->native_handle(), TLSEXT_NAMETYPE_host_name)) {
        m_serverName = name;
    }
}

asio::awaitable<void> Wire::fill() {
    std::array<char, 16384> block;
    std::size_t count = 0;
    if (m_tls) {
        count = co_await m_tls->async_read_some(asio::buffer(block), asio::use_awaitable);
    } else {
        count = co_await m_socket.async_read_some(asio::buffer(block), asio::use_awaitable);
    }
    m_buffer.append(block.data(), count);
}

asio::awaitable<std::string> Wire::readHead(std::size_t limit) {
    std::size_t end = m_buffer.find("\r\n\r\n");
    while (end == std::string::npos) {
        if (m_buffer.size() > limit) {
            throw boost::system::system_error(asio::error::message_size);
        }
        co_await fill();
        end = m_buffer.find("\r\n\r\n");
    }
    std::string head = m_buffer.substr(0, end);
    m_buffer.erase(0, end + 4);
    co_return head;
}

asio::awaitable<std::string> Wire::readExactly(std::size_t count) {
    while (m_buffer.size() < count) {
        co_await fill();
    }
    std::string result = m_buffer.substr(0, count);
    m_buffer.erase(0, count);
    co_return result;
}

asio::awaitable<void> Wire::write(std::string bytes) {
    if (m_tls) {
        co_await asio::async_write(*m_tls, asio::buffer(bytes), asio::use_awaitable);
    } else {
        co_await asio::async_write(m_socket, asio::buffer(bytes), asio::use_awaitable);
    }
}

asio::awaitable<void> Wire::pause(std::chrono::milliseconds time) {
    m_timer.expires_after(time);
    co_await m_timer.async_wait(asio::use_awaitable);
}

void Wire::drop() {
    boost::system::error_code ignored;
    m_socket.set_option(asio::socket_base::linger(true, 0), ignored);
    m_socket.close(ignored);
    m_timer.cancel();
}

asio::awaitable<void> Wire::finish() {
    boost::system::error_code ignored;
    if (m_tls && m_socket.is_open()) {
        m_timer.expires_after(std::chrono::seconds(2));
        m_timer.async_wait([weak = weak_from_this()](const boost::system::error_code& error) {
            if (const auto wire = weak.lock(); wire && !error) {
                wire->drop();
            }
        });
        co_await m_tls->async_shutdown(asio::redirect_error(asio::use_awaitable, ignored));
        m_timer.cancel();
    }
    m_socket.shutdown(tcp::socket::shutdown_both, ignored);
    m_socket.close(ignored);
}

} // namespace sandbox
