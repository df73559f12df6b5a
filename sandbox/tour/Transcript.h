#pragma once

#include <QElapsedTimer>
#include <QString>

// Prints the tour's transcript: one line for each event, with the seconds since the start. Main thread.
class Transcript {
public:
    Transcript();

    void chapter(const QString& title);
    // Prints what `role` did or saw.
    void say(const QString& role, const QString& text);
    // Prints a longer text, indented under the previous line.
    void quote(const QString& text);
    // Prints a line of the program's own log.
    void log(const QString& line);

    double seconds() const { return static_cast<double>(m_timer.elapsed()) / 1000.0; }

private:
    QElapsedTimer m_timer;
};
