#pragma once

#include "Views/Shared/CardText.h"
#include "Views/Shared/IncrementalMarkdown.h"

#include <QColor>
#include <QPointer>
#include <QQuickTextDocument>
#include <QTextCharFormat>
#include <QTextCursor>
#include <qqmlregistration.h>

namespace corvane {

// Fills the document of a TextEdit with inline markdown, either a fixed `content` or a growing `stream`. Only
// what has changed is replaced, so that the rest keeps its layout and selection.
class MarkdownDocument : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(
        QQuickTextDocument* textDocument READ textDocument WRITE setTextDocument NOTIFY textDocumentChanged)
    Q_PROPERTY(QString content READ content WRITE setContent NOTIFY contentChanged)
    Q_PROPERTY(corvane::CardText* stream READ stream WRITE setStream NOTIFY streamChanged)
    Q_PROPERTY(QColor linkColor READ linkColor WRITE setLinkColor NOTIFY linkColorChanged)

public:
    using QObject::QObject;

    QQuickTextDocument* textDocument() const { return m_textDocument; }
    void setTextDocument(QQuickTextDocument* document);
    QString content() const { return m_content; }
    void setContent(const QString& content);
    CardText* stream() const { return m_stream; }
    void setStream(CardText* stream);
    QColor linkColor() const { return m_linkColor; }
    void setLinkColor(const QColor& color);

    // Returns the address of the link at a position of the document, or an empty text.
    Q_INVOKABLE QString linkAt(int position) const;
    // Copies the text between two positions of the document to the clipboard.
    Q_INVOKABLE void copy(int start, int end) const;

Q_SIGNALS:
    void textDocumentChanged();
    void contentChanged();
    void streamChanged();
    void linkColorChanged();
    // Emitted before and after each change of the document.
    void aboutToEdit();
    void edited();

private:
    void update(QStringView source, qsizetype unchanged);
    void write(qsizetype from);
    void insert(QTextCursor& cursor, QStringView text, const QTextCharFormat& format);
    void breakLongLine(QTextCursor& cursor);
    qsizetype textPosition(int documentPosition) const;
    QTextCharFormat charFormat(const InlineRun& run) const;

    QPointer<QQuickTextDocument> m_textDocument;
    QPointer<CardText> m_stream;
    QString m_content;
    QColor m_linkColor;
    IncrementalMarkdown m_markdown;
    // The positions in the text at which the document ends a block of its own, because a long line is laid
    // out in parts.
    QList<qsizetype> m_breaks;
};

} // namespace corvane
