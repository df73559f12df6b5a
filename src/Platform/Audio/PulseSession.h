#pragma once

#include "Platform/Audio/PulseConnection.h"

#include <QObject>
#include <QTimer>

namespace platform {

// A connection and the work done over it, held from the main thread. The work has a limit of time until it is
// finished. Derived classes call shutDown() in their destructor.
class PulseSession {
public:
    explicit PulseSession(const PulseSettings& settings);
    virtual ~PulseSession() = default;
    PulseSession(const PulseSession&) = delete;
    PulseSession& operator=(const PulseSession&) = delete;

    // Does not block. Throws AudioError when not even a thread can be had.
    void start();
    // The work's result is not wanted any more: whoever awaits it gets OperationCancelled.
    virtual void cancel() = 0;
    // An object that lives as long as the session.
    const QObject* lifetime() const { return &m_main; }

protected:
    // On the connection's thread.
    virtual void connected() = 0;
    // Gives back everything that hangs on the connection, which stands still meanwhile.
    virtual void release() = 0;
    // On the main thread, at most once, after shutDown(). May destroy the session.
    virtual void failed(const AudioError& error) = 0;

    // Ends the connection and its thread. Nothing of it runs afterwards.
    void shutDown();
    // The limit of time is over with. Main thread.
    void stopTimeout() { m_limit.stop(); }

    // On the connection's thread:
    void fail(const AudioError& error);
    void toMain(std::function<void()> work);

    const PulseSettings m_settings;
    PulseConnection m_connection;

private:
    void endWith(const AudioError& error);

    QObject m_main;
    QTimer m_limit;
    bool m_ended = false;
};

} // namespace platform
