#include "Platform/Network/Connector.h"

#include "Platform/Network/NetworkText.h"

#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace platform {

namespace {

using Kind = WebSocketError::Kind;

// A dead address must not use up the time of the ones after it.
constexpr std::chrono::seconds attemptTimeout{5};
constexpr std::size_t maxProxyHead = 16 * 1024;
using NotSentLowWater = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_NOTSENT_LOWAT>;
constexpr int maxUnsentBytes = 32 * 1024;

bool isNumeric(const std::string& host) {
    error_code error;
    asio::ip::make_address(host, error);
    return !error;
}

QString text(const error_code& error) {
    return QString::fromStdString(error.message());
}

} // namespace

int httpStatusOf(const char* text, std::size_t size) {
    const auto line = QByteArray::fromRawData(text, static_cast<qsizetype>(size));
    if (size < 12 || !line.startsWith("HTTP/1.")) {
        return 0;
    }
    return line.mid(9, 3).toInt();
}

Connector::Connector(NetworkThread& thread, Transport& transport, const ConnectPlan& plan)
    : m_thread(thread)
    , m_transport(transport)
    , m_plan(plan)
    , m_attemptTimer(transport.get_executor()) {}

void Connector::loadTrustedRoots(asio::ssl::context& context, const QString& rootsFile) {
    SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
    context.set_verify_mode(asio::ssl::verify_peer);
    error_code error;
    if (rootsFile.isEmpty()) {
        context.set_default_verify_paths(error);
    } else {
        context.load_verify_file(rootsFile.toStdString(), error);
    }
    if (error) {
        throw WebSocketError(
            Kind::tlsFailed,
            QStringLiteral("The certificates in %1 cannot be read: %2.").arg(rootsFile, text(error)));
    }
}

void Connector::run(std::shared_ptr<void> owner, Handler handler) {
    m_owner = std::move(owner);
    m_handler = std::move(handler);
    const auto host = (m_plan.proxyHost.isEmpty() ? m_plan.host : m_plan.proxyHost).toStdString();
    if (isNumeric(host)) {
        m_addresses = {host};
        connectNext();
        return;
    }
    m_thread.lookUp(host, [this, owned = m_owner](NetworkThread::Addresses addresses) {
        m_addresses = std::move(addresses.numeric);
        if (!m_handler) {
            return;
        }
        if (!m_addresses.empty()) {
            connectNext();
        } else if (m_plan.proxyHost.isEmpty()) {
            finish(WebSocketError(Kind::hostNotFound, networkText::hostNotFound(m_plan.hostText())));
        } else {
            finish(unreachable(addresses.failure));
        }
    });
}

WebSocketError Connector::unreachable(const std::string& reason) const {
    const auto why = QString::fromStdString(reason);
    if (m_plan.proxyHost.isEmpty()) {
        return WebSocketError(Kind::cannotConnect, networkText::cannotConnect(m_plan.hostText(), why));
    }
    return WebSocketError(Kind::proxyFailed,
                          networkText::proxyFailed(QString::fromLatin1(m_plan.proxyHost), why));
}

void Connector::connectNext() {
    const auto port = m_plan.proxyHost.isEmpty() ? m_plan.port : m_plan.proxyPort;
    error_code error;
    const auto address = asio::ip::make_address(m_addresses[m_next++], error);
    if (error) {
        connected(error);
        return;
    }
    m_transport.close();
    if (m_next < m_addresses.size()) {
        m_attemptTimer.expires_after(attemptTimeout);
        m_attemptTimer.async_wait([this, owned = m_owner, attempt = m_next](error_code cancelled) {
            if (!cancelled && m_connecting && attempt == m_next) {
                m_transport.close();
            }
        });
    }
    m_connecting = true;
    m_transport.socket().async_connect({address, port},
                                       [this, owned = m_owner](error_code result) { connected(result); });
}

void Connector::connected(error_code error) {
    m_attemptTimer.cancel();
    m_connecting = false;
    if (!m_handler) {
        return;
    }
    if (error && m_next < m_addresses.size()) {
        connectNext();
    } else if (error) {
        finish(unreachable(error.message()));
    } else {
        // Speech is sent in small frames that must not be delayed.
        m_transport.socket().set_option(asio::ip::tcp::no_delay(true), error);
        // Unsent data should wait in our queue, which is bounded, and not in the system's.
        m_transport.socket().set_option(NotSentLowWater(maxUnsentBytes), error);
        switch (m_plan.proxy) {
        case ConnectPlan::Proxy::none:
        case ConnectPlan::Proxy::forwarding:
            startTls();
            break;
        case ConnectPlan::Proxy::tunnel:
            connectThroughHttpProxy();
            break;
        case ConnectPlan::Proxy::socks5:
            connectThroughSocks();
            break;
        }
    }
}

void Connector::connectThroughHttpProxy() {
    const auto peer = (m_plan.host.contains(':') ? '[' + m_plan.host + ']' : m_plan.host) + ':' +
                      QByteArray::number(m_plan.port);
    auto request = "CONNECT " + peer + " HTTP/1.1\r\nHost: " + peer + "\r\n";
    if (!m_plan.proxyCredentials.isEmpty()) {
        request += "Proxy-Authorization: Basic " + m_plan.proxyCredentials.toBase64() + "\r\n";
    }
    m_proxyBuffer = (request + "\r\n").toStdString();
    asio::async_write(m_transport.socket(), asio::buffer(m_proxyBuffer),
                      [this, owned = m_owner](error_code error, std::size_t) {
                          m_proxyBuffer.clear();
                          error ? proxyAnswered(error) : readProxyAnswer();
                      });
}

void Connector::readProxyAnswer() {
    asio::async_read_until(m_transport.socket(), asio::dynamic_buffer(m_proxyBuffer, maxProxyHead),
                           "\r\n\r\n",
                           [this, owned = m_owner](error_code error, std::size_t) { proxyAnswered(error); });
}

void Connector::proxyAnswered(error_code error) {
    if (!m_handler) {
        return;
    }
    const int status = error ? 0 : httpStatusOf(m_proxyBuffer.data(), m_proxyBuffer.size());
    if (status >= 200 && status <= 299) {
        startTls();
        return;
    }
    if (status >= 100 && status <= 199) {
        // An interim response: the final one follows.
        m_proxyBuffer.erase(0, m_proxyBuffer.find("\r\n\r\n") + 4);
        readProxyAnswer();
        return;
    }
    if (error) {
        finish(unreachable(error.message()));
    } else if (status == 407) {
        finish(unreachable("it asks for a user name and a password"));
    } else {
        finish(unreachable("it refused the connection to the server, HTTP " + std::to_string(status)));
    }
}

void Connector::connectThroughSocks() {
    m_socks.emplace(m_transport.socket(),
                    SocksHandshake::Target{m_plan.host, m_plan.port, m_plan.proxyCredentials});
    m_socks->run(m_owner, [this](const std::optional<std::string>& failure) {
        if (m_handler && failure) {
            finish(unreachable(*failure));
        } else if (m_handler) {
            startTls();
        }
    });
}

// Tells TLS which name to request and to verify. Returns false if TLS does not accept the name, in which case
// nothing would be verified.
bool Connector::setTlsHostName() {
    auto* ssl = m_transport.tls().native_handle();
    const auto host = m_plan.host.toStdString();
    if (isNumeric(host)) {
        return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str()) == 1;
    }
    SSL_set_hostflags(ssl, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    return SSL_set_tlsext_host_name(ssl, host.c_str()) == 1 && SSL_set1_host(ssl, host.c_str()) == 1;
}

void Connector::startTls() {
    if (!m_plan.encrypted) {
        finish(std::nullopt);
        return;
    }
    if (!setTlsHostName()) {
        finish(WebSocketError(
            Kind::tlsFailed,
            networkText::tlsFailed(m_plan.hostText(), QStringLiteral("its name cannot be verified"))));
        return;
    }
    m_transport.setEncrypted(true);
    m_transport.tls().async_handshake(asio::ssl::stream_base::client,
                                      [this, owned = m_owner](error_code error) {
                                          finish(error ? std::optional(tlsFailure(error)) : std::nullopt);
                                      });
}

WebSocketError Connector::tlsFailure(error_code error) {
    const auto host = m_plan.hostText();
    if (const auto verdict = SSL_get_verify_result(m_transport.tls().native_handle()); verdict != X509_V_OK) {
        const auto reason = QString::fromLatin1(X509_verify_cert_error_string(verdict));
        return WebSocketError(Kind::tlsFailed, networkText::certificateRefused(host, reason));
    }
    if (error.category() == asio::error::get_ssl_category()) {
        return WebSocketError(Kind::tlsFailed, networkText::tlsFailed(host, text(error)));
    }
    return WebSocketError(Kind::connectionLost, networkText::connectionLost(host));
}

void Connector::abandon() {
    m_handler = nullptr;
    m_attemptTimer.cancel();
    m_transport.close();
    m_owner.reset();
}

void Connector::finish(std::optional<WebSocketError> error) {
    const auto owned = std::exchange(m_owner, nullptr);
    if (const auto handler = std::exchange(m_handler, nullptr)) {
        handler(std::move(error));
    }
}

} // namespace platform
