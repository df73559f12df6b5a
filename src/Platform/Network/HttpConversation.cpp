#include "Platform/Network/HttpConversation.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Network/Connector.h"
#include "Platform/Network/NetworkText.h"
#include "Platform/Network/NetworkThread.h"
#include "Platform/Network/Transport.h"

#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>

#include <algorithm>
#include <array>

namespace platform {

namespace {

namespace http = boost::beast::http;

constexpr qsizetype pieceBytes = 64 * 1024;
// A body is read ahead of the main thread by this much, so that its speed does not depend on the event loop.
constexpr qsizetype maxUnhandledBytes = 1024 * 1024;
constexpr std::uint32_t maxAnswerHeadBytes = 64 * 1024;
constexpr int proxyAuthenticationRequired = 407;

struct KindRow {
    WebSocketError::Kind kind;
    HttpError::Kind httpKind;
};

constexpr std::array kindRows{
    KindRow{WebSocketError::Kind::timedOut, HttpError::Kind::timedOut},
    KindRow{WebSocketError::Kind::hostNotFound, HttpError::Kind::hostNotFound},
    KindRow{WebSocketError::Kind::cannotConnect, HttpError::Kind::cannotConnect},
    KindRow{WebSocketError::Kind::connectionLost, HttpError::Kind::connectionLost},
    KindRow{WebSocketError::Kind::tlsFailed, HttpError::Kind::tlsFailed},
    KindRow{WebSocketError::Kind::proxyFailed, HttpError::Kind::proxyFailed},
};

class BeastConversation : public HttpConversation, public std::enable_shared_from_this<BeastConversation> {
public:
    BeastConversation(NetworkThread& thread, Request request, Listener listener)
        : m_thread(thread)
        , m_request(std::move(request))
        , m_listener(std::make_shared<Listener>(std::move(listener))) {
        m_parser.header_limit(maxAnswerHeadBytes);
        m_parser.body_limit(m_request.maxBodyBytes ? boost::optional<std::uint64_t>(*m_request.maxBodyBytes)
                                                   : boost::none);
        m_parser.skip(m_request.isHead);
    }

    void begin() {
        post([](BeastConversation& self) { self.connect(); });
    }
    void readOn(qsizetype handledBytes) override {
        post([handledBytes](BeastConversation& self) {
            self.m_unhandledBytes -= handledBytes;
            self.readBody();
        });
    }
    void cancel() override {
        *m_listener = {};
        post([](BeastConversation& self) { self.drop(); });
    }

private:
    template<typename Work>
    void post(Work work) {
        asio::post(m_thread.context(), [self = shared_from_this(), work] { work(*self); });
    }
    template<typename... Args>
    void report(std::function<void(Args...)> Listener::*event, std::type_identity_t<Args>... args) {
        dispatchToMain([listener = m_listener, event, args...] {
            // A copy, because it may call cancel().
            if (const auto handler = (*listener).*event) {
                handler(args...);
            }
        });
    }

    void connect();
    void talk();
    void takeHead(error_code error);
    void readBody();
    void takePiece(error_code error);
    HttpError failureOf(error_code error) const;
    void finish() {
        report(&Listener::end);
        drop();
    }
    void fail(const HttpError& error) {
        report(&Listener::failed, error);
        drop();
    }
    void drop() {
        m_over = true;
        if (m_connector) {
            m_connector->abandon();
        }
    }

    NetworkThread& m_thread;
    const Request m_request;
    const std::shared_ptr<Listener> m_listener; // its contents belong to the main thread
    std::optional<asio::ssl::context> m_tls;
    std::optional<Transport> m_transport;
    std::optional<Connector> m_connector;
    boost::beast::flat_buffer m_buffer;
    http::response_parser<http::buffer_body> m_parser;
    QByteArray m_piece;
    qsizetype m_unhandledBytes = 0; // reported, and not yet handled on the main thread
    bool m_isReading = false;
    bool m_over = false;
};

void BeastConversation::connect() {
    m_tls.emplace(asio::ssl::context::tls_client);
    try {
        if (m_request.plan.encrypted) {
            Connector::loadTrustedRoots(*m_tls, m_request.plan.rootsFile);
        }
    } catch (const WebSocketError& error) {
        fail(errorOf(error));
        return;
    }
    m_transport.emplace(m_thread.context(), *m_tls);
    m_connector.emplace(m_thread, *m_transport, m_request.plan);
    m_connector->run(shared_from_this(), [this](const std::optional<WebSocketError>& error) {
        if (error) {
            fail(errorOf(*error));
        } else {
            talk();
        }
    });
}

// The response may arrive before the whole request has been sent. If a write fails, reading tells why: by the
// peer's response, or by the end of the connection.
void BeastConversation::talk() {
    const auto& bytes = m_request.bytes;
    asio::async_write(*m_transport, asio::buffer(bytes.constData(), static_cast<std::size_t>(bytes.size())),
                      [self = shared_from_this()](error_code, std::size_t) {});
    http::async_read_header(
        *m_transport, m_buffer, m_parser,
        [self = shared_from_this()](error_code error, std::size_t) { self->takeHead(error); });
}

void BeastConversation::takeHead(error_code error) {
    if (m_over) {
        return;
    }
    if (error) {
        fail(failureOf(error));
        return;
    }
    const auto& message = m_parser.get();
    const auto& plan = m_request.plan;
    if (message.result_int() == proxyAuthenticationRequired) {
        // A proxy that the system does not know of answers in the server's place.
        fail(HttpError(HttpError::Kind::proxyFailed,
                       networkText::proxyFailed(
                           QString::fromLatin1(plan.proxyHost.isEmpty() ? plan.host : plan.proxyHost),
                           QStringLiteral("it asks for a user name and a password"))));
        return;
    }
    HttpResponse head{.status = static_cast<int>(message.result_int()), .url = {}, .headers = {}, .body = {}};
    for (const auto& field : message) {
        const auto bytes = [](auto text) {
            return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
        };
        head.headers.append({bytes(field.name_string()), bytes(field.value())});
    }
    report(&Listener::head, std::move(head));
    if (m_parser.is_done()) {
        finish();
    }
}

void BeastConversation::readBody() {
    if (m_over || m_isReading || m_unhandledBytes > maxUnhandledBytes) {
        return;
    }
    m_isReading = true;
    m_piece = QByteArray(pieceBytes, Qt::Uninitialized);
    auto& body = m_parser.get().body();
    body.data = m_piece.data();
    body.size = static_cast<std::size_t>(m_piece.size());
    m_parser.eager(true);
    http::async_read_some(
        *m_transport, m_buffer, m_parser,
        [self = shared_from_this()](error_code error, std::size_t) { self->takePiece(error); });
}

void BeastConversation::takePiece(error_code error) {
    m_isReading = false;
    if (m_over) {
        return;
    }
    if (error == http::error::need_buffer) {
        error = {}; // the piece is full
    }
    m_piece.truncate(m_piece.size() - static_cast<qsizetype>(m_parser.get().body().size));
    if (!m_piece.isEmpty()) {
        m_unhandledBytes += m_piece.size();
        report(&Listener::piece, std::exchange(m_piece, {}));
    }
    if (error) {
        fail(failureOf(error));
    } else if (m_parser.is_done()) {
        finish();
    } else {
        readBody();
    }
}

HttpError BeastConversation::failureOf(error_code error) const {
    const auto host = m_request.plan.hostText();
    if (error == http::error::body_limit) {
        return HttpError(HttpError::Kind::tooLarge, networkText::tooLarge(host, *m_request.maxBodyBytes));
    }
    const bool isMalformed = error.category() == make_error_code(http::error::bad_version).category() &&
                             error != http::error::end_of_stream && error != http::error::partial_message;
    return isMalformed ? HttpError(HttpError::Kind::notHttp, networkText::notHttp(host))
                       : HttpError(HttpError::Kind::connectionLost, networkText::connectionLost(host));
}

} // namespace

std::shared_ptr<HttpConversation> HttpConversation::start(NetworkThread& thread, Request request,
                                                          Listener listener) {
    const auto conversation =
        std::make_shared<BeastConversation>(thread, std::move(request), std::move(listener));
    conversation->begin();
    return conversation;
}

HttpError HttpConversation::errorOf(const WebSocketError& error) {
    const auto row = std::ranges::find(kindRows, error.kind(), &KindRow::kind);
    return HttpError(row == kindRows.end() ? HttpError::Kind::other : row->httpKind,
                     QString::fromUtf8(error.what()));
}

} // namespace platform
