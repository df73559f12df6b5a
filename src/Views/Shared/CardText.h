#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

// The text of a card, or a piece of it, to which more is appended. White space at its ends is left out until
// other text follows. The views are told which part has changed. Main thread.
class CardText : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by presenters")

public:
    // A state of the text to return to.
    struct Mark {
        qsizetype length = 0;
        QString blanks;
    };

    using QObject::QObject;

    // Callers must not keep a copy: the next append would have to copy the whole text.
    const QString& text() const { return m_text; }
    bool isEmpty() const { return m_text.isEmpty(); }

    void append(QStringView more);
    void clear() { returnTo({}); }
    Mark mark() const { return {m_text.size(), m_blanks}; }
    void returnTo(const Mark& mark);
    // Emits changed() for the changes since the last call.
    void publish();

Q_SIGNALS:
    // The first `unchanged` characters are the same as before.
    void changed(qsizetype unchanged);

private:
    QString m_text;
    QString m_blanks; // white space after the text, appended when other text follows
    qsizetype m_unchanged = 0;
    bool m_isChanged = false;
};

} // namespace corvane
