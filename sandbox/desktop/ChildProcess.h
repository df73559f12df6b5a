#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// A program that ends with this process, or earlier. Not QProcess: that one shares its memory with the child
// for a moment, which leaves the thread sanitizer blind in the parent. Waiting blocks without an event loop.
class ChildProcess {
public:
    ChildProcess() = default;
    ~ChildProcess() { kill(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // What it prints on either channel is added to the file `output`. Throws std::runtime_error.
    void start(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
               const QString& output);
    bool isRunning();
    // False after `milliseconds`.
    bool waitForEnd(int milliseconds);
    // It ran, and left with 0.
    bool succeeded();
    // Does nothing to a process that has ended.
    void signal(int number);
    void kill();
    qint64 processId() const { return m_process; }

private:
    int m_process = 0;
    int m_status = 0;
    bool m_ended = true;
};
