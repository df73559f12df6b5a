#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

// The text of a card, or a piece of it, that grows at its end. White space at its ends is left out until
// something follows it. A view that shows it is told from where on it is new. Main thread.
class CardText : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by presenters")

public:
    // A state to go back to.
    struct Mark {
        qsizetype length = 0;
        QString blanks;
    };

    using QObject::QObject;

    // Do not keep a copy: the next append would have to copy the whole text.
    const QString& text() const { return m_text; }
    bool isEmpty() const { return m_text.isEmpty(); }

    void append(QStringView more);
    void clear() { returnTo({}); }
    Mark mark() const { return {m_text.size(), m_blanks}; }
    void returnTo(const Mark& mark);
    // Tells what has changed since the last call.
    void publish();

Q_SIGNALS:
    // The first `unchanged` characters are what they were.
    void changed(qsizetype unchanged);

private:
    QString m_text;
    QString m_blanks; // behind the text, shown once something follows
    qsizetype m_unchanged = 0;
    bool m_isChanged = false;
};

} // namespace corvane
