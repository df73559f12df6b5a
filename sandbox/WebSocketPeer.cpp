#include "sandbox/WebSocketPeer.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <array>

namespace sandbox {

namespace {

constexpr std::uint64_t maxIncomingBytes = 16 * 1024 * 1024;

struct Misbehaviour {
    std::uint16_t closeCode;
    std::string what;
};

std::string header(std::uint8_t opcode, std::uint64_t length) {
    std::string bytes(1, static_cast<char>(0x80 | opcode));
    const int extra = length < 126 ? 0 : length <= 0xFFFF ? 2 : 8;
    bytes += static_cast<char>(extra == 0 ? length : extra == 2 ? 126 : 127);
    for (int i = extra - 1; i >= 0; --i) {
        bytes += static_cast<char>((length >> (8 * i)) & 0xFF);
    }
    return bytes;
}

std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char c : bytes) {
        value = (value << 8) | static_cast<std::uint8_t>(c);
    }
    return value;
}

} // namespace

WebSocketPeer::WebSocketPeer(std::shared_ptr<Wire> wire, std::shared_ptr<WebSocketEndpoint> endpoint)
    : m_wire(std::move(wire))
    , m_endpoint(std::move(endpoint))
    , m_wakeWriter(m_wire->executor())
    , m_silence(m_wire->executor()) {}

std::string WebSocketPeer::acceptKey(std::string_view key) {
    const std::string text = std::string(key) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest;
    SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
    std::array<unsigned char, 32> encoded;
    const int length = EVP_EncodeBlock(encoded.data(), digest.data(), static_cast<int>(digest.size()));
    return {reinterpret_cast<const char*>(encoded.data()), static_cast<std::size_t>(length)};
}

asio::awaitable<void> WebSocketPeer::run() {
    const auto self = shared_from_this();
    m_endpoint->opened(self);
    asio::co_spawn(
        m_wire->executor(), [self] { return self->writeFrames(); }, asio::detached);
    bool finished = false;
    std::optional<Misbehaviour> broken;
    try {
        co_await readFrames();
        finished = true;
    } catch (const Misbehaviour& misbehaviour) {
        broken = misbehaviour;
    } catch (const boost::system::system_error&) {
        // The connection ended without a close frame, so the code remains 1006.
    }
    if (broken) {
        m_endpoint->misbehaved(broken->what);
        close(broken->closeCode, broken->what);
    }
    if (m_fillerUnderWay) {
        // The peer did not wait for the end of an enormous frame, after whose middle nothing valid can
        // follow.
        m_wire->drop();
    }
    // Sends what is queued, in particular the answer to a close frame.
    while ((finished || broken) && m_wire->isOpen() && (m_writing || !m_outgoing.empty())) {
        boost::system::error_code ignored;
        m_silence.expires_after(std::chrono::milliseconds(2));
        co_await m_silence.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
    m_ended = true;
    m_wakeWriter.cancel();
    co_await m_wire->finish();
    m_endpoint->closed(m_closeCode);
}

asio::awaitable<void> WebSocketPeer::readFrames() {
    bool goesOn = true;
    while (goesOn) {
        Frame frame = co_await readFrame();
        while (m_silent) {
            m_silence.expires_after(std::chrono::milliseconds(50));
            co_await m_silence.async_wait(asio::use_awaitable);
            if (!m_wire->isOpen()) {
                throw boost::system::system_error(asio::error::operation_aborted);
            }
        }
        if (frame.opcode >= opClose) {
            goesOn = handleControl(std::move(frame));
        } else {
            handleData(std::move(frame));
        }
    }
}

asio::awaitable<WebSocketPeer::Frame> WebSocketPeer::readFrame() {
    const std::string head = co_await m_wire->readExactly(2);
    const auto first = static_cast<std::uint8_t>(head[0]);
    const auto second = static_cast<std::uint8_t>(head[1]);
    Frame frame{(first & 0x80) != 0, static_cast<std::uint8_t>(first & 0x0F), {}};
    if ((first & 0x70) != 0 || (second & 0x80) == 0) {
        throw Misbehaviour{1002, "frame with reserved bits or without a mask"};
    }
    std::uint64_t length = second & 0x7F;
    if (frame.opcode >= opClose && (length > 125 || !frame.isFinal)) {
        throw Misbehaviour{1002, "control frame too long or in pieces"};
    }
    if (length >= 126) {
        const std::string extended = co_await m_wire->readExactly(length == 126 ? 2 : 8);
        length = bigEndian(extended);
    }
    if (length + m_message.size() > maxIncomingBytes) {
        throw Misbehaviour{1009, "message of more than 16 MiB"};
    }
    const std::string mask = co_await m_wire->readExactly(4);
    frame.payload = co_await m_wire->readExactly(static_cast<std::size_t>(length));
    for (std::size_t i = 0; i < frame.payload.size(); ++i) {
        frame.payload[i] = static_cast<char>(frame.payload[i] ^ mask[i % 4]);
    }
    co_return frame;
}

void WebSocketPeer::handleData(Frame frame) {
    const bool continues = frame.opcode == opContinuation;
    if (frame.opcode > opBinary || continues != (m_messageOpcode != 0)) {
        throw Misbehaviour{1002, "frame out of order or of an unknown kind"};
    }
    if (!continues) {
        m_messageOpcode = frame.opcode;
    }
    m_message = continues ? m_message + frame.payload : std::move(frame.payload);
    if (!frame.isFinal) {
        return;
    }
    const std::string message = std::move(m_message);
    m_message.clear();
    const auto opcode = std::exchange(m_messageOpcode, std::uint8_t{0});
    if (opcode == opText) {
        m_endpoint->text(message);
    } else {
        m_endpoint->binary({reinterpret_cast<const std::uint8_t*>(message.data()), message.size()});
    }
}

bool WebSocketPeer::handleControl(Frame frame) {
    if (frame.opcode == opPing) {
        if (!ignoresPings) {
            send(opPong, std::move(frame.payload));
        }
        return true;
    }
    if (frame.opcode != opClose) {
        return true;
    }
    m_closeCode = frame.payload.size() >= 2 ? static_cast<int>(bigEndian(frame.payload.substr(0, 2))) : 1005;
    if (!m_closeSent) {
        m_closeSent = true;
        send(opClose, frame.payload.substr(0, 2));
    }
    return false;
}

void WebSocketPeer::send(std::uint8_t opcode, std::string payload) {
    if (m_ended || (m_closeSent && opcode != opClose)) {
        return;
    }
    std::string bytes = header(opcode, payload.size());
    bytes += payload;
    m_outgoing.push_back({std::move(bytes), 0});
    m_wakeWriter.cancel();
}

void WebSocketPeer::sendEnormous(std::uint64_t size) {
    m_outgoing.push_back({header(opText, size), size});
    m_wakeWriter.cancel();
}

void WebSocketPeer::close(std::uint16_t code, const std::string& reason) {
    if (m_closeSent) {
        return;
    }
    std::string payload{static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)};
    payload += reason.substr(0, 120);
    send(opClose, std::move(payload));
    m_closeSent = true;
}

void WebSocketPeer::fallSilent() {
    m_silent = true;
}

asio::awaitable<void> WebSocketPeer::writeFrames() {
    const auto self = shared_from_this();
    const std::string block(256 * 1024, 'a');
    try {
        while (!m_ended && m_wire->isOpen()) {
            if (m_outgoing.empty() || m_silent) {
                boost::system::error_code ignored;
                m_wakeWriter.expires_after(std::chrono::hours(24));
                co_await m_wakeWriter.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
                continue;
            }
            m_writing = true;
            Outgoing next = std::move(m_outgoing.front());
            m_outgoing.pop_front();
            co_await m_wire->write(std::move(next.bytes));
            m_fillerUnderWay = next.filler > 0;
            while (next.filler > 0) {
                const auto count = std::min<std::uint64_t>(next.filler, block.size());
                co_await m_wire->write(block.substr(0, static_cast<std::size_t>(count)));
                next.filler -= count;
            }
            m_fillerUnderWay = false;
            m_writing = false;
        }
    } catch (const boost::system::system_error&) {
        // The reader sees the same end and reports it.
    }
    m_writing = false;
}

} // namespace sandbox
