#pragma once

#include <QElapsedTimer>
#include <QString>

// What the tour prints: one line a moment, with the seconds since the start. Main thread.
class Transcript {
public:
    Transcript();

    void chapter(const QString& title);
    // `who` did or saw something.
    void say(const QString& role, const QString& text);
    // A longer text, indented under the line before it.
    void quote(const QString& text);
    // A line of the program's own log.
    void log(const QString& line);

    double seconds() const { return static_cast<double>(m_timer.elapsed()) / 1000.0; }

private:
    QElapsedTimer m_timer;
};
