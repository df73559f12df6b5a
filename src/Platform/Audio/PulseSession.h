#pragma once

#include "Platform/Audio/PulseConnection.h"

#include <QObject>
#include <QTimer>

namespace platform {

// A connection and the work done over it, controlled from the main thread. The work has a time limit. Derived
// classes call shutDown() in their destructor.
class PulseSession {
public:
    explicit PulseSession(const PulseSettings& settings);
    virtual ~PulseSession() = default;
    PulseSession(const PulseSession&) = delete;
    PulseSession& operator=(const PulseSession&) = delete;

    // Does not block. Throws AudioError if the thread cannot be started.
    void start();
    // Abandons the work: a coroutine that awaits it gets OperationCancelled.
    virtual void cancel() = 0;
    // Returns an object that lives as long as the session.
    const QObject* lifetime() const { return &m_main; }

protected:
    // Called on the connection's thread.
    virtual void connected() = 0;
    // Frees everything that depends on the connection, whose loop does not run meanwhile.
    virtual void release() = 0;
    // Called on the main thread, at most once, after shutDown(). May destroy the session.
    virtual void failed(const AudioError& error) = 0;

    // Ends the connection and its thread. No callback runs afterwards.
    void shutDown();
    // Stops the time limit. Main thread.
    void stopTimeout() { m_limit.stop(); }

    // Call these on the connection's thread.
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
