#include "Platform/Network/WebSocketConnection.h"

#include "Platform/Network/Connector.h"
#include "Platform/Network/NetworkText.h"
#include "Platform/Network/NetworkThread.h"
#include "Platform/Network/SendQueue.h"
#include "Platform/Network/SocketHealth.h"
#include "Platform/Network/StreamEnd.h"
#include "Platform/Network/Transport.h"
#include "Platform/Network/WebSocketMailbox.h"

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <atomic>
#include <deque>
#include <optional>

namespace platform {

namespace {

namespace websocket = boost::beast::websocket;
using Kind = WebSocketError::Kind;

// The time for the peer to answer a close frame and to end the connection.
constexpr std::chrono::seconds closeTimeout{2};
// Frames up to this size are sent in one write; it is also the size of a TLS record.
constexpr std::size_t writeBufferBytes = 16 * 1024;
// A larger buffer, left behind by one large message, is freed.
constexpr std::size_t keptReadBytes = 256 * 1024;

std::exception_ptr pointer(const WebSocketError& error) {
    return std::make_exception_ptr(error);
}

class BeastConnection : public WebSocketConnection, public std::enable_shared_from_this<BeastConnection> {
public:
    BeastConnection(NetworkThread& thread, std::shared_ptr<WebSocketMailbox> mailbox)
        : m_thread(thread)
        , m_mailbox(std::move(mailbox))
        , m_timeout(thread.context().get_executor()) {}

    void start(ConnectPlan plan, qint64 maxMessageBytes, std::chrono::milliseconds openTimeout) override {
        post([plan = std::move(plan), maxMessageBytes, openTimeout](BeastConnection& self) mutable {
            self.doStart(std::move(plan), maxMessageBytes, openTimeout);
        });
    }
    void send(WebSocketTask::Payload kind, QByteArray payload, WebSocketTask::DoneHandler done) override;
    void ping(quint32 id) override {
        post([id](BeastConnection& self) {
            self.m_pings.push_back(id);
            self.pumpPings();
        });
    }
    void readHealth(WebSocketTask::HealthHandler handler) override {
        post([handler = std::move(handler)](BeastConnection& self) {
            handler(self.isOpen() ? socketHealth(self.m_stream->next_layer().socket().native_handle())
                                  : ConnectionHealth());
        });
    }
    void resumeReading() override {
        post([](BeastConnection& self) {
            if (std::exchange(self.m_readingPaused, false)) {
                self.read();
            }
        });
    }
    void cancel(int closeCode) override {
        m_cancelled = true;
        post([closeCode](BeastConnection& self) { self.doCancel(closeCode); });
    }

private:
    using Stream = websocket::stream<Transport, false>;

    template<typename Work>
    void post(Work work) {
        asio::post(m_thread.context(),
                   [self = shared_from_this(), work = std::move(work)]() mutable { work(*self); });
    }
    // Makes the completion handler of a stream operation. It keeps the connection alive until it has run.
    template<typename... Args>
    auto bind(void (BeastConnection::*handler)(Args...)) {
        return [self = shared_from_this(), handler](auto&&... args) {
            (self.get()->*handler)(std::forward<decltype(args)>(args)...);
        };
    }

    void doStart(ConnectPlan plan, qint64 maxMessageBytes, std::chrono::milliseconds openTimeout);
    void upgrade(std::optional<WebSocketError> error);
    void upgraded(error_code error);
    void enqueue(SendQueue::Frame frame);
    void pump();
    void failDropped();
    void written(error_code error, std::size_t);
    void pumpPings();
    void pinged(error_code error);
    void read();
    void received(error_code error, std::size_t);
    void controlFrame(websocket::frame_type kind, boost::beast::string_view payload);
    void doCancel(int closeCode);
    void closed(error_code) { drop(); }

    void armTimeout(std::chrono::milliseconds timeout);
    void cancelTimeout();
    void timeoutReached();
    void report(WebSocketEnd end);
    void fail(const WebSocketError& error, int httpStatus = 0);
    void failSends(const std::exception_ptr& error);
    void drop();
    bool isOpen() const { return m_open && !m_reported; }
    WebSocketEnd endOf(error_code error) const {
        return streamEnd(error, m_plan.hostText(), m_maxMessageBytes, m_stream->reason());
    }

    NetworkThread& m_thread;
    const std::shared_ptr<WebSocketMailbox> m_mailbox;
    SteadyTimer m_timeout;
    quint64 m_timeoutSerial = 0;
    // Read on any thread: sends fail at once when one of these is set.
    std::atomic<bool> m_cancelled = false;
    std::atomic<bool> m_reported = false;

    ConnectPlan m_plan;
    qint64 m_maxMessageBytes = 0;
    std::optional<asio::ssl::context> m_tls;
    std::optional<Stream> m_stream;
    std::optional<Connector> m_connector;
    websocket::response_type m_answer;
    boost::beast::flat_buffer m_incoming;
    SendQueue m_waiting;
    std::optional<SendQueue::Frame> m_beingWritten;
    std::deque<quint32> m_pings;
    quint32 m_pingSent = 0;
    bool m_open = false;
    bool m_pinging = false;
    bool m_readingPaused = false;
};

void BeastConnection::send(WebSocketTask::Payload kind, QByteArray payload, WebSocketTask::DoneHandler done) {
    if (m_cancelled || m_reported) {
        done(pointer(m_cancelled
                         ? WebSocketError(Kind::cancelled, QStringLiteral("The connection was closed."))
                         : WebSocketError(Kind::notConnected, QStringLiteral("There is no connection."))));
        return;
    }
    post([frame = SendQueue::Frame{kind, std::move(payload), std::move(done)}](
             BeastConnection& self) mutable { self.enqueue(std::move(frame)); });
}

void BeastConnection::enqueue(SendQueue::Frame frame) {
    if (m_cancelled || m_reported) {
        send(frame.kind, {}, std::move(frame.done));
        return;
    }
    m_waiting.push(std::move(frame), std::chrono::steady_clock::now());
    pump();
    failDropped();
}

void BeastConnection::doStart(ConnectPlan plan, qint64 maxMessageBytes,
                              std::chrono::milliseconds openTimeout) {
    if (m_cancelled) {
        return;
    }
    m_plan = std::move(plan);
    m_maxMessageBytes = maxMessageBytes;
    m_tls.emplace(asio::ssl::context::tls_client);
    try {
        if (m_plan.encrypted) {
            Connector::loadTrustedRoots(*m_tls, m_plan.rootsFile);
        }
    } catch (const WebSocketError& error) {
        fail(error);
        return;
    }
    m_stream.emplace(m_thread.context(), *m_tls);
    // Weak, because the stream is part of this object.
    m_stream->next_layer().onTeardown = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->armTimeout(closeTimeout);
        }
    };
    armTimeout(openTimeout);
    m_connector.emplace(m_thread, m_stream->next_layer(), m_plan);
    m_connector->run(shared_from_this(),
                     [this](std::optional<WebSocketError> error) { upgrade(std::move(error)); });
}

void BeastConnection::upgrade(std::optional<WebSocketError> error) {
    if (error) {
        fail(*error);
        return;
    }
    m_stream->read_message_max(static_cast<std::size_t>(m_maxMessageBytes));
    m_stream->write_buffer_bytes(writeBufferBytes);
    m_stream->auto_fragment(false);
    m_stream->control_callback(
        [this](auto kind, boost::beast::string_view payload) { controlFrame(kind, payload); });
    m_stream->async_handshake(m_answer, m_plan.hostHeader.toStdString(), m_plan.target.toStdString(),
                              bind(&BeastConnection::upgraded));
}

void BeastConnection::upgraded(error_code error) {
    if (m_reported || m_cancelled) {
        drop();
    } else if (error) {
        const int status = m_stream->next_layer().answeredStatus();
        fail(upgradeFailure(error, m_plan.hostText(), m_stream->next_layer(), m_answer), status);
    } else {
        cancelTimeout();
        m_open = true;
        m_mailbox->opened();
        read();
        pump();
        pumpPings();
    }
}

void BeastConnection::pump() {
    if (!isOpen() || m_beingWritten) {
        return;
    }
    m_beingWritten = m_waiting.take(std::chrono::steady_clock::now());
    if (m_beingWritten) {
        const auto& payload = m_beingWritten->payload;
        m_stream->text(m_beingWritten->kind == WebSocketTask::Payload::text);
        m_stream->async_write(asio::buffer(payload.constData(), static_cast<std::size_t>(payload.size())),
                              bind(&BeastConnection::written));
    }
}

void BeastConnection::failDropped() {
    for (const auto& frame : m_waiting.takeDropped()) {
        if (frame.done) {
            frame.done(pointer(WebSocketError(Kind::congested, networkText::congested(m_plan.hostText()))));
        }
    }
}

void BeastConnection::written(error_code error, std::size_t) {
    const auto done = std::move(m_beingWritten->done);
    m_beingWritten.reset();
    if (!error) {
        pump();
        failDropped();
    } else if (isOpen()) {
        // The peer's last message may still be there to read, and says more about the failure.
        armTimeout(closeTimeout);
    }
    if (done) {
        done(error ? pointer(
                         WebSocketError(Kind::connectionLost, networkText::connectionLost(m_plan.hostText())))
                   : nullptr);
    }
}

void BeastConnection::pumpPings() {
    if (!isOpen() || m_pinging || m_pings.empty()) {
        return;
    }
    m_pinging = true;
    m_pingSent = m_pings.front();
    m_pings.pop_front();
    const auto payload = std::to_string(m_pingSent);
    m_stream->async_ping(websocket::ping_data(payload.data(), payload.size()),
                         bind(&BeastConnection::pinged));
}

void BeastConnection::pinged(error_code error) {
    m_pinging = false;
    if (!error) {
        pumpPings();
    } else if (isOpen()) {
        armTimeout(closeTimeout);
    }
}

void BeastConnection::read() {
    if (m_open && !m_cancelled) {
        m_stream->async_read(m_incoming, bind(&BeastConnection::received));
    }
}

void BeastConnection::received(error_code error, std::size_t) {
    if (error) {
        report(endOf(error));
        drop();
        return;
    }
    const auto data = m_incoming.data();
    WebSocketMessage message{m_stream->got_text(), QByteArray(static_cast<const char*>(data.data()),
                                                              static_cast<qsizetype>(data.size()))};
    m_incoming.consume(m_incoming.size());
    if (m_incoming.capacity() > keptReadBytes) {
        m_incoming.shrink_to_fit();
    }
    m_readingPaused = !m_mailbox->deliver(std::move(message));
    if (!m_readingPaused) {
        read();
    }
}

// Runs inside the read that found the frame: no stream operation may be started from here.
void BeastConnection::controlFrame(websocket::frame_type kind, boost::beast::string_view payload) {
    if (kind == websocket::frame_type::pong) {
        bool isNumber = false;
        const auto id = QByteArray(payload.data(), static_cast<qsizetype>(payload.size())).toUInt(&isNumber);
        if (isNumber && id <= m_pingSent) {
            m_mailbox->pong(id);
        }
    } else if (kind == websocket::frame_type::close) {
        // Beast answers it; there is no need to wait for the peer to hang up.
        report(endOf(websocket::error::closed));
        armTimeout(closeTimeout);
    }
}

void BeastConnection::doCancel(int closeCode) {
    failSends(pointer(WebSocketError(Kind::cancelled, QStringLiteral("The connection was closed."))));
    m_pings.clear();
    if (!isOpen()) {
        drop();
        return;
    }
    m_reported = true;
    armTimeout(closeTimeout);
    m_stream->async_close(static_cast<websocket::close_code>(closeCode), bind(&BeastConnection::closed));
}

void BeastConnection::armTimeout(std::chrono::milliseconds timeout) {
    cancelTimeout();
    m_timeout.expires_after(timeout);
    m_timeout.async_wait([self = shared_from_this(), serial = m_timeoutSerial](error_code) {
        if (serial == self->m_timeoutSerial) {
            self->timeoutReached();
        }
    });
}

// A timer that has already expired cannot be cancelled; the serial number marks it as outdated.
void BeastConnection::cancelTimeout() {
    ++m_timeoutSerial;
    m_timeout.cancel();
}

void BeastConnection::timeoutReached() {
    if (!m_open) {
        fail(WebSocketError(Kind::timedOut, networkText::timedOut(m_plan.hostText())));
        return;
    }
    report({WebSocketError(Kind::connectionLost, networkText::connectionLost(m_plan.hostText())), 1006});
    drop();
}

void BeastConnection::fail(const WebSocketError& error, int httpStatus) {
    report({error, {}, httpStatus});
    drop();
}

void BeastConnection::report(WebSocketEnd end) {
    if (m_cancelled || m_reported.exchange(true)) {
        return;
    }
    const auto text = end.error ? QString::fromUtf8(end.error->what())
                                : QStringLiteral("The server closed the connection.");
    failSends(pointer(WebSocketError(end.error ? end.error->kind() : Kind::notConnected, text)));
    m_mailbox->ended(std::move(end));
}

// The frame that is being written keeps its bytes until the write has ended; its handler is called with the
// others.
void BeastConnection::failSends(const std::exception_ptr& error) {
    if (m_beingWritten && m_beingWritten->done) {
        std::exchange(m_beingWritten->done, nullptr)(error);
    }
    for (const auto& frame : m_waiting.clear()) {
        if (frame.done) {
            frame.done(error);
        }
    }
}

void BeastConnection::drop() {
    cancelTimeout();
    if (m_connector) {
        m_connector->abandon();
    }
}

} // namespace

std::shared_ptr<WebSocketConnection> WebSocketConnection::make(NetworkThread& thread,
                                                               std::shared_ptr<WebSocketMailbox> mailbox) {
    return std::make_shared<BeastConnection>(thread, std::move(mailbox));
}

} // namespace platform
