#pragma once

#include <QByteArray>

// An environment variable for the length of a test.
class EnvironmentOverride {
public:
    EnvironmentOverride(const char* name, const QByteArray& value)
        : m_name(name)
        , m_before(qgetenv(name)) {
        qputenv(name, value);
    }
    ~EnvironmentOverride() {
        if (m_before.isNull()) {
            qunsetenv(m_name);
        } else {
            qputenv(m_name, m_before);
        }
    }

private:
    const char* m_name;
    QByteArray m_before;
};
