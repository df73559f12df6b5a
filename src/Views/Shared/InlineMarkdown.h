#pragma once

#include <QList>
#include <QString>

namespace corvane {

// A range of text with one appearance. Text outside of all runs is plain.
struct InlineRun {
    qsizetype start = 0;
    qsizetype length = 0;
    bool bold = false;
    bool italic = false;
    bool code = false;
    QString link; // an address; empty when there is none

    qsizetype end() const { return start + length; }
    bool looksLike(const InlineRun& other) const {
        return bold == other.bold && italic == other.italic && code == other.code && link == other.link;
    }
    bool operator==(const InlineRun&) const = default;
};

// A text and the attributes that its inline markdown gives it: runs in ascending order that do not overlap.
struct AttributedString {
    QString text;
    QList<InlineRun> runs;

    bool operator==(const AttributedString&) const = default;
};

// Parses emphasis, code spans, links, escapes and entities as CommonMark does. Everything else, including
// headings, lists and HTML, stays as it is written, as do blanks and line breaks.
AttributedString markdownAttributed(QStringView source);

// The characters that open and close spans, as bits. Those that are left open decide whether a text can be
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

// A position that no span crosses: the text before it and the text after it can be parsed separately, unless
// the latter closes something that the former has left open.
struct MarkdownCut {
    qsizetype source = 0;
    qsizetype text = 0;
    MarkdownDelimiters open;
};

struct MarkdownParts {
    AttributedString whole;
    MarkdownCut cut;             // the last one that has enough text after it; 0 if there is none
    MarkdownDelimiters closable; // the delimiters in the text that could close something before it
};

MarkdownParts parseMarkdownParts(QStringView source);

} // namespace corvane
