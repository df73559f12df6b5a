#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QStringList>

#include <functional>

// A minimal Wayland client that speaks the protocol itself: enough for the virtual input devices, which no
// library offers. Operations return once the compositor has taken what was sent, and throw
// std::runtime_error.
class WaylandWire {
public:
    // `relay` is a command that forwards its channels to the compositor's socket. The compositor sees the
    // user of the relay as its client.
    explicit WaylandWire(const QStringList& relay);
    ~WaylandWire();

    // Returns a new object number, which must be used in the next message.
    quint32 newObject() { return ++m_newest; }
    // Binds the global with this interface.
    quint32 bind(const QByteArray& interface, quint32 version);
    void send(quint32 object, quint16 opcode, const QByteArray& arguments);
    // Returns once everything that was sent has been processed.
    void roundTrip() { roundTrip({}); }

    static QByteArray number(quint32 value);
    // Encodes a number in 24.8 fixed point.
    static QByteArray fixed(double value);
    static QByteArray text(const QByteArray& value);

private:
    struct Message {
        quint32 object = 0;
        quint16 opcode = 0;
        QByteArray arguments;
    };
    Message receive();
    QByteArray receive(qint64 size);
    void roundTrip(const std::function<void(const Message&)>& seen);

    QProcess m_relay;
    quint32 m_newest = 1; // the display
    quint32 m_registry = 0;
    QList<Message> m_globals;
};
