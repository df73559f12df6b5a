#include "MarkdownDocument.h"

#include <QFontDatabase>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>

void MarkdownDocument::setTextDocument(QQuickTextDocument* document) {
    if (document == m_textDocument) {
        return;
    }
    m_textDocument = document;
    if (document) {
        document->textDocument()->setUndoRedoEnabled(false);
        write(0);
    }
    Q_EMIT textDocumentChanged();
}

void MarkdownDocument::setContent(const QString& content) {
    if (content == m_content) {
        return;
    }
    const auto unchanged = std::ranges::mismatch(m_content, content).in1 - m_content.begin();
    m_content = content;
    update(m_content, unchanged);
    Q_EMIT contentChanged();
}

void MarkdownDocument::setStream(StreamedText* stream) {
    if (stream == m_stream) {
        return;
    }
    if (m_stream) {
        disconnect(m_stream, nullptr, this, nullptr);
    }
    m_stream = stream;
    if (stream) {
        connect(stream, &StreamedText::changed, this,
                [this, stream](qsizetype unchanged) { update(stream->text(), unchanged); });
        update(stream->text(), 0);
    }
    Q_EMIT streamChanged();
}

void MarkdownDocument::setLinkColor(const QColor& color) {
    if (color != m_linkColor) {
        m_linkColor = color;
        const auto& runs = m_markdown.shown().runs;
        if (std::ranges::any_of(runs, [](const InlineRun& run) { return !run.link.isEmpty(); })) {
            write(0);
        }
        Q_EMIT linkColorChanged();
    }
}

QString MarkdownDocument::linkAt(int position) const {
    for (const auto& run : m_markdown.shown().runs) {
        if (run.start <= position && position < run.end()) {
            return run.link;
        }
    }
    return {};
}

void MarkdownDocument::update(QStringView source, qsizetype unchanged) {
    if (const auto from = m_markdown.update(source, unchanged)) {
        write(*from);
    }
}

void MarkdownDocument::write(qsizetype from) {
    if (!m_textDocument) {
        return;
    }
    Q_EMIT aboutToEdit();
    const auto& [text, runs] = m_markdown.shown();
    QTextCursor cursor(m_textDocument->textDocument());
    cursor.beginEditBlock();
    cursor.setPosition(static_cast<int>(from));
    cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    const auto insert = [&](qsizetype start, qsizetype end, const QTextCharFormat& format) {
        if (end > start) {
            cursor.insertText(text.sliced(start, end - start), format);
        }
    };
    auto run = std::ranges::upper_bound(runs, from, {}, &InlineRun::end);
    auto at = from;
    for (; run != runs.end(); ++run) {
        insert(at, run->start, {});
        insert(std::max(at, run->start), run->end(), formatOf(*run));
        at = run->end();
    }
    insert(at, text.size(), {});
    cursor.endEditBlock();
    Q_EMIT edited();
}

QTextCharFormat MarkdownDocument::formatOf(const InlineRun& run) const {
    QTextCharFormat format;
    if (run.bold) {
        format.setFontWeight(QFont::Bold);
    }
    if (run.italic) {
        format.setFontItalic(true);
    }
    if (run.code) {
        format.setFontFamilies({QFontDatabase::systemFont(QFontDatabase::FixedFont).family()});
    }
    if (!run.link.isEmpty()) {
        format.setAnchor(true);
        format.setAnchorHref(run.link);
        format.setForeground(m_linkColor);
        format.setFontUnderline(true);
    }
    return format;
}
