#pragma once

#include "Platform/Network/Asio.h"
#include "Platform/Network/InterimResponses.h"

#include <boost/beast/core/stream_traits.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/teardown.hpp>

#include <array>
#include <functional>
#include <string>

namespace platform {

// A TCP connection with or without TLS, as one stream type: the WebSocket code is compiled once for both.
// Network thread.
class Transport {
public:
    using executor_type = Executor;
    using TlsStream = asio::ssl::stream<Socket>;

    Transport(asio::io_context& context, asio::ssl::context& tls)
        : m_stream(context.get_executor(), tls) {}

    executor_type get_executor() { return m_stream.get_executor(); }
    Socket& socket() { return m_stream.next_layer(); }
    TlsStream& tls() { return m_stream; }
    void setEncrypted(bool encrypted) { m_encrypted = encrypted; }
    // Ends all operations under way.
    void close() {
        error_code ignored;
        socket().close(ignored);
    }

    // Called when the teardown of a connection starts, which waits for the peer.
    std::function<void()> onTeardown;

    // Returns the status of the HTTP response that came first, or 0 if what came is not an HTTP response.
    // Known even if its body never ends.
    int answeredStatus() const;
    bool gotAnything() const { return m_firstSize > 0 || m_answers.hasKept(); }

    template<typename Buffers, typename Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        if (!m_rest.empty()) {
            const std::size_t size = takeRest(buffers);
            asio::post(get_executor(), [size, next = std::forward<Handler>(handler)]() mutable {
                next(error_code(), std::size_t(size));
            });
            return;
        }
        auto note = [this, buffers, next = std::forward<Handler>(handler)](error_code error,
                                                                           std::size_t size) mutable {
            const bool gotSomething = size > 0;
            size = withoutInterimAnswers(buffers, size);
            if (gotSomething && size == 0 && !error) {
                async_read_some(buffers, std::move(next));
                return;
            }
            keepFirst(buffers, size);
            // Many servers end a TLS connection without saying so. Messages have their own lengths.
            next(error == asio::ssl::error::stream_truncated ? error_code(asio::error::eof) : error, size);
        };
        if (m_encrypted) {
            m_stream.async_read_some(buffers, std::move(note));
        } else {
            socket().async_read_some(buffers, std::move(note));
        }
    }

    template<typename Buffers, typename Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        if (m_encrypted) {
            m_stream.async_write_some(buffers, std::forward<Handler>(handler));
        } else {
            socket().async_write_some(buffers, std::forward<Handler>(handler));
        }
    }

    template<typename Handler>
    friend void async_teardown(boost::beast::role_type role, Transport& transport, Handler&& handler) {
        using boost::beast::websocket::async_teardown;
        transport.onTeardown();
        if (transport.m_encrypted) {
            async_teardown(role, transport.m_stream, std::forward<Handler>(handler));
        } else {
            async_teardown(role, transport.socket(), std::forward<Handler>(handler));
        }
    }
    friend void teardown(boost::beast::role_type, Transport& transport, error_code&) { transport.close(); }
    friend void beast_close_socket(Transport& transport) { transport.close(); }

private:
    // Returns how many of the bytes that arrived are left.
    template<typename Buffers>
    std::size_t withoutInterimAnswers(const Buffers& buffers, std::size_t size) {
        if (m_answers.isOver() || size == 0) {
            return size;
        }
        std::string piece(size, '\0');
        asio::buffer_copy(asio::buffer(piece), buffers, size);
        m_rest = m_answers.pass(piece);
        return takeRest(buffers);
    }

    template<typename Buffers>
    std::size_t takeRest(const Buffers& buffers) {
        const auto size = asio::buffer_copy(buffers, asio::buffer(m_rest));
        m_rest.erase(0, size);
        return size;
    }

    template<typename Buffers>
    void keepFirst(const Buffers& buffers, std::size_t size) {
        if (m_firstSize < m_first.size() && size > 0) {
            const auto room = asio::buffer(m_first) + m_firstSize;
            m_firstSize += asio::buffer_copy(room, buffers, size);
        }
    }

    TlsStream m_stream;
    bool m_encrypted = false;
    InterimResponses m_answers;
    std::string m_rest;             // what did not fit into the reader's buffer
    std::array<char, 12> m_first{}; // "HTTP/1.1 503"
    std::size_t m_firstSize = 0;
};

// Returns the status in "HTTP/1.1 503 ...", or 0 if the text does not start like that.
int httpStatusOf(const char* text, std::size_t size);

inline int Transport::answeredStatus() const {
    return httpStatusOf(m_first.data(), m_firstSize);
}

} // namespace platform
