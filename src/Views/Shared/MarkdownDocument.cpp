#include "Views/Shared/MarkdownDocument.h"

#include <QAbstractTextDocumentLayout>
#include <QClipboard>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QQuickItem>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>

#include <algorithm>

namespace corvane {

namespace {

// The number of characters of a line that are laid out at a time: each change lays that many out again.
constexpr int longLine = 1000;

} // namespace

void MarkdownDocument::setTextDocument(QQuickTextDocument* document) {
    if (document == m_textDocument) {
        return;
    }
    m_textDocument = document;
    if (document) {
        document->textDocument()->setUndoRedoEnabled(false);
        // A long text is painted only where it is visible.
        if (auto* item = qobject_cast<QQuickItem*>(document->parent())) {
            item->setFlag(QQuickItem::ItemObservesViewport);
        }
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

void MarkdownDocument::setStream(CardText* stream) {
    if (stream == m_stream) {
        return;
    }
    if (m_stream) {
        disconnect(m_stream, nullptr, this, nullptr);
    }
    m_stream = stream;
    if (stream) {
        connect(stream, &CardText::changed, this,
                [this, stream](qsizetype unchanged) { update(stream->text(), unchanged); });
        update(stream->text(), 0);
    }
    Q_EMIT streamChanged();
}

void MarkdownDocument::setLinkColor(const QColor& color) {
    if (color != m_linkColor) {
        m_linkColor = color;
        const auto& runs = m_markdown.attributedContent().runs;
        if (std::ranges::any_of(runs, [](const InlineRun& run) { return !run.link.isEmpty(); })) {
            write(0);
        }
        Q_EMIT linkColorChanged();
    }
}

QString MarkdownDocument::linkAt(int position) const {
    const auto at = textPosition(position);
    for (const auto& run : m_markdown.attributedContent().runs) {
        if (run.start <= at && at < run.end()) {
            return run.link;
        }
    }
    return {};
}

void MarkdownDocument::copy(int start, int end) const {
    const auto from = textPosition(start);
    QGuiApplication::clipboard()->setText(
        m_markdown.attributedContent().text.mid(from, textPosition(end) - from));
}

qsizetype MarkdownDocument::textPosition(int documentPosition) const {
    const auto isBefore = [&, passed = 0](qsizetype place) mutable {
        return place + passed++ < documentPosition;
    };
    return documentPosition - std::ranges::count_if(m_breaks, isBefore);
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
    m_breaks.erase(std::ranges::lower_bound(m_breaks, from), m_breaks.end());
    const auto& [text, runs] = m_markdown.attributedContent();
    QTextCursor cursor(m_textDocument->textDocument());
    cursor.beginEditBlock();
    cursor.setPosition(static_cast<int>(from + m_breaks.size()));
    cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    auto at = from;
    for (auto run = std::ranges::upper_bound(runs, from, {}, &InlineRun::end); run != runs.end(); ++run) {
        const auto start = std::max(at, run->start);
        insert(cursor, QStringView(text).sliced(at, start - at), {});
        insert(cursor, QStringView(text).sliced(start, run->end() - start), charFormat(*run));
        at = run->end();
    }
    insert(cursor, QStringView(text).sliced(at), {});
    cursor.endEditBlock();
    Q_EMIT edited();
}

void MarkdownDocument::insert(QTextCursor& cursor, QStringView text, const QTextCharFormat& format) {
    while (!text.isEmpty()) {
        const auto part = text.first(std::min<qsizetype>(text.size(), longLine));
        cursor.insertText(part.toString(), format);
        text = text.sliced(part.size());
        breakLongLine(cursor);
    }
}

// Breaks the line where it wraps anyway, so that the break is not visible.
void MarkdownDocument::breakLongLine(QTextCursor& cursor) {
    if (cursor.positionInBlock() <= longLine) {
        return;
    }
    // The document is laid out when an edit block ends.
    cursor.endEditBlock();
    const auto block = cursor.block();
    cursor.document()->documentLayout()->blockBoundingRect(block);
    const auto* layout = block.layout();
    if (layout->lineCount() > 1) {
        const auto place = block.position() + layout->lineAt(layout->lineCount() - 1).textStart();
        m_breaks.append(place - m_breaks.size());
        QTextCursor breaking(cursor.document());
        breaking.setPosition(place);
        breaking.insertBlock();
    }
    cursor.beginEditBlock();
}

QTextCharFormat MarkdownDocument::charFormat(const InlineRun& run) const {
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

} // namespace corvane
