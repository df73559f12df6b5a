#pragma once

#include "Platform/Network/Asio.h"

#include <QByteArray>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

// Asks a SOCKS 5 proxy (RFC 1928, RFC 1929) to connect to a server. The proxy looks up the name. Network
// thread.
class SocksHandshake {
public:
    struct Target {
        QByteArray host; // ASCII, an IPv6 address without brackets
        quint16 port = 0;
        QByteArray credentials; // "user:password"; empty: none
    };
    // Gets nullopt on success, or the reason for the failure.
    using Handler = std::function<void(std::optional<std::string> failure)>;

    SocksHandshake(Socket& socket, Target target)
        : m_socket(socket)
        , m_target(std::move(target)) {}

    // `owner` keeps this object alive meanwhile.
    void run(std::shared_ptr<void> owner, Handler handler);

private:
    using Step = void (SocksHandshake::*)();

    void chooseMethod();
    void authenticate();
    void requestConnection();
    void takeAnswer();
    void takeAddress();
    // Writes m_request, if it is not empty, and reads `answerBytes` bytes.
    void exchange(std::size_t answerBytes, Step next);
    void read(Step next);
    void finish(std::optional<std::string> failure);
    unsigned char answered(std::size_t index) const { return static_cast<unsigned char>(m_answer[index]); }

    Socket& m_socket;
    Target m_target;
    std::shared_ptr<void> m_owner;
    Handler m_handler;
    std::string m_request;
    std::string m_answer;
};

} // namespace platform
