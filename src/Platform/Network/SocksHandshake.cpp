#include "Platform/Network/SocksHandshake.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <array>

namespace platform {

namespace {

constexpr char version = 5;
constexpr char authenticationVersion = 1;
constexpr char noAuthentication = 0;
constexpr char userAndPassword = 2;
constexpr char connectCommand = 1;
enum AddressType : char { ipv4 = 1, domainName = 3, ipv6 = 4 };
constexpr std::size_t maxFieldBytes = 255;

// RFC 1928, section 6.
constexpr std::array refusals{
    "",
    "a general failure",
    "its rules do not allow a connection to the server",
    "the network of the server is unreachable",
    "the server is unreachable",
    "the server refused the connection",
    "the server did not answer in time",
    "it does not support the command",
    "it does not support this kind of address",
};

std::string field(const std::string& text) {
    return static_cast<char>(text.size()) + text;
}

std::string addressOf(const std::string& host) {
    error_code error;
    const auto address = asio::ip::make_address(host, error);
    if (error) {
        return char(domainName) + field(host);
    }
    const auto packed = [](char type, const auto& bytes) {
        return type + std::string(bytes.begin(), bytes.end());
    };
    return address.is_v4() ? packed(ipv4, address.to_v4().to_bytes())
                           : packed(ipv6, address.to_v6().to_bytes());
}

} // namespace

void SocksHandshake::run(std::shared_ptr<void> owner, Handler handler) {
    m_owner = std::move(owner);
    m_handler = std::move(handler);
    if (static_cast<std::size_t>(m_target.host.size()) > maxFieldBytes) {
        finish("the name of the server is too long for it");
        return;
    }
    m_request = m_target.credentials.isEmpty() ? std::string{version, 1, noAuthentication}
                                               : std::string{version, 2, noAuthentication, userAndPassword};
    exchange(2, &SocksHandshake::chooseMethod);
}

void SocksHandshake::chooseMethod() {
    if (m_answer[0] != version) {
        finish("it does not speak SOCKS 5");
    } else if (m_answer[1] == noAuthentication) {
        requestConnection();
    } else if (m_answer[1] == userAndPassword && !m_target.credentials.isEmpty()) {
        const auto colon = m_target.credentials.indexOf(':');
        const auto user = m_target.credentials.left(colon).toStdString();
        const auto password = m_target.credentials.mid(colon + 1).toStdString();
        if (user.size() > maxFieldBytes || password.size() > maxFieldBytes) {
            finish("the user name or the password is too long for it");
            return;
        }
        m_request = authenticationVersion + field(user) + field(password);
        exchange(2, &SocksHandshake::authenticate);
    } else {
        finish("it asks for a user name and a password");
    }
}

void SocksHandshake::authenticate() {
    if (m_answer[1] != 0) {
        finish("it does not accept the user name and the password");
        return;
    }
    requestConnection();
}

void SocksHandshake::requestConnection() {
    m_request = std::string{version, connectCommand, 0} + addressOf(m_target.host.toStdString()) +
                static_cast<char>(m_target.port >> 8) + static_cast<char>(m_target.port & 0xff);
    // Reads up to the first byte of the address, which tells how long the rest is.
    exchange(5, &SocksHandshake::takeAnswer);
}

void SocksHandshake::takeAnswer() {
    if (m_answer[0] != version) {
        finish("it does not speak SOCKS 5");
        return;
    }
    if (const auto code = answered(1); code != 0) {
        finish(code < refusals.size() ? refusals[code] : "it refused the connection to the server");
        return;
    }
    constexpr std::size_t portBytes = 2;
    std::size_t addressBytes = 0;
    switch (m_answer[3]) {
    case ipv4:
        addressBytes = 3;
        break;
    case ipv6:
        addressBytes = 15;
        break;
    case domainName:
        addressBytes = answered(4);
        break;
    default:
        finish("it does not speak SOCKS 5");
        return;
    }
    exchange(addressBytes + portBytes, &SocksHandshake::takeAddress);
}

// The proxy's own address is not needed.
void SocksHandshake::takeAddress() {
    finish(std::nullopt);
}

void SocksHandshake::exchange(std::size_t answerBytes, Step next) {
    m_answer.assign(answerBytes, '\0');
    if (m_request.empty()) {
        read(next);
        return;
    }
    asio::async_write(m_socket, asio::buffer(m_request),
                      [this, owned = m_owner, next](error_code error, std::size_t) {
                          m_request.clear();
                          if (error) {
                              finish(error.message());
                          } else {
                              read(next);
                          }
                      });
}

void SocksHandshake::read(Step next) {
    asio::async_read(m_socket, asio::buffer(m_answer),
                     [this, owned = m_owner, next](error_code error, std::size_t) {
                         if (error) {
                             finish(error.message());
                         } else {
                             (this->*next)();
                         }
                     });
}

void SocksHandshake::finish(std::optional<std::string> failure) {
    const auto owned = std::exchange(m_owner, nullptr);
    if (const auto handler = std::exchange(m_handler, nullptr)) {
        handler(std::move(failure));
    }
}

} // namespace platform
