#include "sandbox/desktop/WaylandWire.h"

#include <cmath>
#include <cstring>
#include <stdexcept>

namespace {

constexpr int replyTimeout = 10000; // ms
// Numbers of objects, requests and events, from the protocol.
constexpr quint32 display = 1;
constexpr quint16 displaySync = 0;
constexpr quint16 displayGetRegistry = 1;
constexpr quint16 displaySaysError = 0;
constexpr quint16 registryBind = 0;

// The protocol uses the byte order of the machine.
quint32 numberAt(const QByteArray& bytes, qsizetype at) {
    quint32 value = 0;
    if (at + 4 <= bytes.size()) {
        std::memcpy(&value, bytes.constData() + at, sizeof value);
    }
    return value;
}

} // namespace

WaylandWire::WaylandWire(const QStringList& relay) {
    m_relay.start(relay.first(), relay.mid(1));
    m_registry = newObject();
    send(display, displayGetRegistry, number(m_registry));
    roundTrip([this](const Message& message) {
        if (message.object == m_registry) {
            m_globals.append(message);
        }
    });
}

WaylandWire::~WaylandWire() {
    m_relay.closeWriteChannel();
    m_relay.waitForFinished(replyTimeout);
}

quint32 WaylandWire::bind(const QByteArray& interface, quint32 version) {
    for (const auto& global : m_globals) {
        if (global.arguments.mid(4).startsWith(text(interface))) {
            const auto object = newObject();
            send(m_registry, registryBind,
                 global.arguments.left(4) + text(interface) + number(version) + number(object));
            return object;
        }
    }
    throw std::runtime_error("The compositor does not offer " + interface.toStdString());
}

void WaylandWire::send(quint32 object, quint16 opcode, const QByteArray& arguments) {
    const auto size = static_cast<quint32>(8 + arguments.size());
    m_relay.write(number(object) + number(size << 16 | opcode) + arguments);
}

QByteArray WaylandWire::receive(qint64 size) {
    while (m_relay.bytesAvailable() < size) {
        if (!m_relay.waitForReadyRead(replyTimeout)) {
            throw std::runtime_error("The compositor does not answer: " +
                                     m_relay.readAllStandardError().toStdString());
        }
    }
    return m_relay.read(size);
}

WaylandWire::Message WaylandWire::receive() {
    const auto head = receive(8);
    const auto sizeAndOpcode = numberAt(head, 4);
    return {.object = numberAt(head, 0),
            .opcode = static_cast<quint16>(sizeAndOpcode & 0xFFFF),
            .arguments = receive(static_cast<qint64>(sizeAndOpcode >> 16) - 8)};
}

void WaylandWire::roundTrip(const std::function<void(const Message&)>& seen) {
    const auto callback = newObject();
    send(display, displaySync, number(callback));
    while (true) {
        const auto message = receive();
        if (message.object == display && message.opcode == displaySaysError) {
            throw std::runtime_error("The compositor refuses: " + message.arguments.mid(12).toStdString());
        }
        if (message.object == callback) {
            return;
        }
        if (seen) {
            seen(message);
        }
    }
}

QByteArray WaylandWire::number(quint32 value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

QByteArray WaylandWire::fixed(double value) {
    return number(static_cast<quint32>(static_cast<qint32>(std::lround(value * 256))));
}

QByteArray WaylandWire::text(const QByteArray& value) {
    auto bytes = value + '\0';
    const auto size = static_cast<quint32>(bytes.size());
    bytes.append((4 - bytes.size() % 4) % 4, '\0');
    return number(size) + bytes;
}
