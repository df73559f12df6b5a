#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QStringList>

#include <functional>

// A client of a Wayland compositor that speaks the protocol itself: enough for the devices of a user's hands,
// which no library offers. Operations return when the compositor has taken what was sent and throw
// std::runtime_error.
class WaylandWire {
public:
    // `relay` is a program that hands its channels on to the compositor's socket: whom the compositor takes
    // for its client is the relay's user.
    explicit WaylandWire(const QStringList& relay);
    ~WaylandWire();

    // A new number for an object, to be named at once in what is sent next.
    quint32 newObject() { return ++m_newest; }
    // Of the global with this interface.
    quint32 bind(const QByteArray& interface, quint32 version);
    void send(quint32 object, quint16 opcode, const QByteArray& arguments);
    // Returns when all that was sent has been acted on.
    void roundTrip() { roundTrip({}); }

    static QByteArray number(quint32 value);
    // 24.8 bits.
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
