#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// Throws std::runtime_error with the text.
[[noreturn]] void refuse(const QString& what);

// Returns the text of the file, or the reason why it cannot be read.
QString contents(const QString& path);

// A program that ends with this process, or earlier. QProcess is not used, because it shares its memory with
// the child for a moment, which blinds the thread sanitizer in the parent. Waiting blocks without an event
// loop.
class ChildProcess {
public:
    ChildProcess() = default;
    ~ChildProcess() { kill(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Appends both output channels to the file `output`. Throws std::runtime_error.
    void start(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
               const QString& output);
    bool isRunning();
    // Returns false after `milliseconds`.
    bool waitForEnd(int milliseconds);
    // Returns whether the program ran and exited with 0.
    bool succeeded();
    // Has no effect on a process that has ended.
    void signal(int number);
    void kill();
    qint64 processId() const { return m_process; }

private:
    int m_process = 0;
    int m_status = 0;
    bool m_ended = true;
};
