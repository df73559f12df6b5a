#pragma once

#include <QObject>
#include <QString>

namespace corvane {

// A text that arrives in pieces. Those who follow it receive the pieces only. Main thread.
class StreamedText : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // Callers must not keep a copy: the next append would have to copy the whole text.
    const QString& text() const { return m_text; }

    void append(const QString& more) {
        m_text += more;
        Q_EMIT appended(more);
    }
    void clear() {
        m_text.clear();
        Q_EMIT cleared();
    }

Q_SIGNALS:
    void appended(const QString& more);
    void cleared();

private:
    QString m_text;
};

} // namespace corvane
