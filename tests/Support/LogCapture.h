#pragma once

#include "Log.h"

#include <QStringList>

#include <memory>

// Collects the log lines of both sinks while it lives. Thread-safe.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();

    QStringList lines() const;
    QStringList standardOutputLines() const;
    bool contains(const QString& part) const;
    // How many lines contain the text.
    int count(const QString& part) const;
    void clear();

private:
    struct State;
    std::shared_ptr<State> m_state;
};
