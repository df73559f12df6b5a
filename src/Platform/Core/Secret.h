#pragma once

#include <QDebug>
#include <QString>

#include <utility>

namespace platform {

// A token, code or key. It cannot get into a log, a stream or a string by accident: only reveal() returns the
// text, and only the code that sends it calls that.
class Secret {
public:
    Secret() = default;
    explicit Secret(QString text)
        : m_text(std::move(text)) {}

    const QString& reveal() const { return m_text; }
    bool isEmpty() const { return m_text.isEmpty(); }
    bool operator==(const Secret&) const = default;

private:
    QString m_text;
};

QDebug operator<<(QDebug, const Secret&) = delete;

} // namespace platform
