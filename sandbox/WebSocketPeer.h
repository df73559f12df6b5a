// The server's side of one WebSocket (RFC 6455), with its own framing: a library would answer every ping and
// could not misbehave on request.
#pragma once

#include "sandbox/Wire.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace sandbox {

class WebSocketPeer;

// Receives the events of a WebSocket. Called on the network thread.
class WebSocketEndpoint {
public:
    virtual ~WebSocketEndpoint() = default;
    virtual void opened(std::shared_ptr<WebSocketPeer> peer) = 0;
    virtual void text(std::string_view message) = 0;
    virtual void binary(std::span<const std::uint8_t> message) = 0;
    // The peer closed the connection with this code; 1006 if it broke or was dropped.
    virtual void closed(int code) = 0;
    // The peer broke the protocol.
    virtual void misbehaved(std::string what) = 0;
};

// Network thread only.
class WebSocketPeer : public std::enable_shared_from_this<WebSocketPeer> {
public:
    WebSocketPeer(std::shared_ptr<Wire> wire, std::shared_ptr<WebSocketEndpoint> endpoint);

    // Returns the value of Sec-WebSocket-Accept.
    static std::string acceptKey(std::string_view key);

    // Runs from the upgrade to the end of the connection.
    asio::awaitable<void> run();

    void sendText(std::string message) { send(opText, std::move(message)); }
    void sendBinary(std::string message) { send(opBinary, std::move(message)); }
    // Sends a text frame with `size` bytes of payload.
    void sendEnormous(std::uint64_t size);
    void close(std::uint16_t code, const std::string& reason);
    // Ends the connection with a TCP reset.
    void drop() { m_wire->drop(); }

    bool ignoresPings = false;
    // Stops reading and writing, but leaves the connection open.
    void fallSilent();

private:
    static constexpr std::uint8_t opContinuation = 0x0, opText = 0x1, opBinary = 0x2, opClose = 0x8,
                                  opPing = 0x9, opPong = 0xA;

    struct Outgoing {
        std::string bytes;
        std::uint64_t filler = 0;
    };
    struct Frame {
        bool isFinal = false;
        std::uint8_t opcode = 0;
        std::string payload;
    };

    asio::awaitable<Frame> readFrame();
    asio::awaitable<void> readFrames();
    asio::awaitable<void> writeFrames();
    void send(std::uint8_t opcode, std::string payload);
    void handleData(Frame frame);
    // Returns false at the end of the conversation.
    bool handleControl(Frame frame);

    std::shared_ptr<Wire> m_wire;
    std::shared_ptr<WebSocketEndpoint> m_endpoint;
    asio::steady_timer m_wakeWriter;
    asio::steady_timer m_silence;
    std::deque<Outgoing> m_outgoing;
    bool m_writing = false;
    bool m_fillerUnderWay = false;
    bool m_ended = false;
    bool m_silent = false;
    bool m_closeSent = false;
    std::uint8_t m_messageOpcode = 0;
    std::string m_message;
    int m_closeCode = 1006;
};

} // namespace sandbox
