#pragma once

#include <QList>
#include <QString>

namespace corvane {

// A stretch of text with one appearance. Text between runs is plain.
struct InlineRun {
    qsizetype start = 0;
    qsizetype length = 0;
    bool bold = false;
    bool italic = false;
    bool code = false;
    QString link; // an address; empty for none

    qsizetype end() const { return start + length; }
    bool looksLike(const InlineRun& other) const {
        return bold == other.bold && italic == other.italic && code == other.code && link == other.link;
    }
    bool operator==(const InlineRun&) const = default;
};

// Text whose inline markdown has been taken out and noted as runs, in order and without overlap.
struct InlineText {
    QString text;
    QList<InlineRun> runs;

    bool operator==(const InlineText&) const = default;
};

// Reads emphasis, code spans, links, escapes and entities as CommonMark does. Everything else, also headings,
// lists and HTML, stays as it is written; so do blanks and line breaks.
InlineText parseInlineMarkdown(QStringView source);

// The characters that open and close spans, as bits: what is left of them decides whether a text can be
// parsed in parts.
enum class MarkdownDelimiter {
    none = 0,
    star = 1,
    underscore = 2,
    backtick = 4,
    bracket = 8,
    parenthesis = 16
};
Q_DECLARE_FLAGS(MarkdownDelimiters, MarkdownDelimiter)
Q_DECLARE_OPERATORS_FOR_FLAGS(MarkdownDelimiters)

// A place that no span crosses: the text before it and the text behind it can be parsed one by one, as long
// as the latter has nothing that closes what the former has left open.
struct MarkdownCut {
    qsizetype source = 0;
    qsizetype text = 0;
    MarkdownDelimiters open;
};

struct MarkdownParts {
    InlineText whole;
    MarkdownCut cut;             // the last one that leaves some text behind it; at 0 if there is none
    MarkdownDelimiters closable; // what in the text would close something open before it
};

MarkdownParts parseMarkdownParts(QStringView source);

} // namespace corvane
