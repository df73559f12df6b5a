#include "Views/Shared/InlineMarkdown.h"

#include <QTextBlock>
#include <QTextDocument>

#include <md4c.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

namespace {

// The parser receives every line with this at both ends, so that no line is blank or looks like a block and
// the whole text is one paragraph. The rules of emphasis treat it as a blank, as they do the end of a line,
// but the parser does not strip it: MEDIUM MATHEMATICAL SPACE.
constexpr std::string_view sentinel = "\u205F";

// At least this much text follows a cut, because a stream takes back a line that turns out to be a header.
constexpr size_t uncutBytes = 512;

struct Line {
    size_t start;     // in the buffer, after the sentinel
    qsizetype source; // in UTF-16 units
};

struct Buffer {
    std::string bytes;
    std::vector<Line> lines;

    explicit Buffer(QStringView source) {
        bytes.reserve(static_cast<size_t>(source.size()) * 2 + 16);
        qsizetype start = 0;
        qsizetype carriageReturn = -1; // position of the next one, searched once as most texts have none
        while (true) {
            if (carriageReturn < start) {
                carriageReturn = indexOf(source, u'\r', start);
            }
            const auto end = std::min(indexOf(source, u'\n', start), carriageReturn);
            bytes += sentinel;
            lines.push_back({bytes.size(), start});
            const auto line = source.sliced(start, end - start).toUtf8();
            bytes.append(line.constData(), static_cast<size_t>(line.size()));
            bytes += sentinel;
            if (end == source.size()) {
                break;
            }
            bytes += '\n';
            start = end + (source.sliced(end).startsWith(QLatin1String("\r\n")) ? 2 : 1);
        }
    }

    static qsizetype indexOf(QStringView text, QChar wanted, qsizetype from) {
        const auto found = text.indexOf(wanted, from);
        return found < 0 ? text.size() : found;
    }

    bool sentinelAt(size_t at) const { return bytes.compare(at, sentinel.size(), sentinel) == 0; }
    bool beginsLine(size_t at) const { return sentinelAt(at) && (at == 0 || bytes[at - 1] == '\n'); }
    bool endsLine(size_t at) const {
        const auto next = at + sentinel.size();
        return sentinelAt(at) && (next == bytes.size() || bytes[next] == '\n');
    }

    qsizetype sourcePosition(size_t at) const {
        auto line = std::upper_bound(lines.begin(), lines.end(), at,
                                     [](size_t place, const Line& other) { return place < other.start; });
        if (line == lines.begin()) {
            return 0;
        }
        --line;
        auto source = line->source;
        for (auto place = line->start; place < at; ++place) {
            const auto byte = static_cast<unsigned char>(bytes[place]);
            // Four bytes encode a pair of UTF-16 units.
            source += isContinuation(bytes[place]) ? 0 : byte >= 0xF0 ? 2 : 1;
        }
        return source;
    }

    static bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }
    char32_t characterAt(size_t at) const {
        auto end = at + 1;
        while (end < bytes.size() && isContinuation(bytes[end])) {
            ++end;
        }
        const auto text = QString::fromUtf8(bytes.data() + at, static_cast<qsizetype>(end - at)).toUcs4();
        return text.isEmpty() ? U' ' : text.first();
    }
    char32_t characterBefore(size_t at) const {
        if (at == 0) {
            return U' ';
        }
        auto start = at - 1;
        while (start > 0 && isContinuation(bytes[start])) {
            --start;
        }
        return characterAt(start);
    }
};

// The parser finds entities but does not decode them.
QString decodeEntity(const QString& entity) {
    if (entity.startsWith(QLatin1String("&#"))) {
        const bool hexadecimal = entity.at(2).toLower() == u'x';
        const auto digits = QStringView(entity).sliced(hexadecimal ? 3 : 2).chopped(1);
        const char32_t character = digits.toUInt(nullptr, hexadecimal ? 16 : 10);
        const bool valid =
            character != 0 && character <= QChar::LastValidCodePoint && !QChar::isSurrogate(character);
        return QString::fromUcs4(valid ? &character : U"\uFFFD", 1);
    }
    QTextDocument document;
    document.setHtml(entity);
    return document.firstBlock().text();
}

// Receives the events of the parser in the order of the text.
class Reader {
public:
    explicit Reader(QStringView source)
        : m_buffer(source) {}

    MarkdownParts read();

private:
    static Reader& of(void* self) { return *static_cast<Reader*>(self); }
    void enterSpan(MD_SPANTYPE type, void* detail);
    void leaveSpan(MD_SPANTYPE type);
    void receive(MD_TEXTTYPE type, const char* text, size_t size);
    void receiveRange(MD_TEXTTYPE type, size_t start, size_t end);
    void append(const QString& text);
    void noteDelimiter(size_t at);
    void noteBrackets(size_t at);
    void noteOpeners(size_t from, size_t to);
    void noteAddress(size_t from, size_t to);
    void noteEmphasis(size_t at, bool consumedAsOpener);
    void offerCut(size_t at);

    Buffer m_buffer;
    MarkdownParts m_parts;
    std::vector<MD_SPANTYPE> m_spans;             // the open spans
    std::vector<InlineRun> m_styles{InlineRun{}}; // the style outside of all spans, and that within each
    size_t m_end = 0;                             // end of the last range
    bool m_entered = false;
    bool m_leftLink = false;

    MarkdownDelimiters m_open; // so far, without brackets and parentheses
    int m_brackets = 0;
    // Whether the line has had "](", and whether a title could begin there that continues on the next line.
    bool m_inParentheses = false;
    bool m_inTitle = false;
};

MarkdownParts Reader::read() {
    const auto nothing = [](MD_BLOCKTYPE, void*, void*) { return 0; };
    MD_PARSER parser{};
    parser.flags = MD_FLAG_NOHTML | MD_FLAG_NOINDENTEDCODEBLOCKS;
    parser.enter_block = nothing;
    parser.leave_block = nothing;
    parser.enter_span = [](MD_SPANTYPE type, void* detail, void* self) {
        of(self).enterSpan(type, detail);
        return 0;
    };
    parser.leave_span = [](MD_SPANTYPE type, void*, void* self) {
        of(self).leaveSpan(type);
        return 0;
    };
    parser.text = [](MD_TEXTTYPE type, const MD_CHAR* text, MD_SIZE size, void* self) {
        of(self).receive(type, text, size);
        return 0;
    };
    md_parse(m_buffer.bytes.data(), static_cast<MD_SIZE>(m_buffer.bytes.size()), &parser, this);
    m_parts.cut.source = m_buffer.sourcePosition(static_cast<size_t>(m_parts.cut.source));
    return std::move(m_parts);
}

QString linkAddress(const MD_ATTRIBUTE& attribute) {
    QString address;
    for (int i = 0; attribute.substr_offsets[i] < attribute.size; ++i) {
        const auto start = attribute.substr_offsets[i];
        const auto part = QString::fromUtf8(attribute.text + start,
                                            static_cast<qsizetype>(attribute.substr_offsets[i + 1] - start));
        address += attribute.substr_types[i] == MD_TEXT_ENTITY ? decodeEntity(part) : part;
    }
    return address;
}

void Reader::enterSpan(MD_SPANTYPE type, void* detail) {
    auto style = m_styles.back();
    switch (type) {
    case MD_SPAN_EM:
        style.italic = true;
        m_entered = true;
        break;
    case MD_SPAN_STRONG:
        style.bold = true;
        m_entered = true;
        break;
    case MD_SPAN_CODE:
        style.code = true;
        m_parts.closable |= MarkdownDelimiter::backtick;
        break;
    case MD_SPAN_A:
        style.link = linkAddress(static_cast<const MD_SPAN_A_DETAIL*>(detail)->href);
        break;
    default:
        break;
    }
    m_styles.push_back(std::move(style));
    m_spans.push_back(type);
}

// The parser may report the end of a span whose beginning it has not reported: the opener in "[a](*)**" is in
// the address.
void Reader::leaveSpan(MD_SPANTYPE type) {
    m_leftLink = m_leftLink || type == MD_SPAN_A || type == MD_SPAN_IMG;
    const auto found = std::find(m_spans.rbegin(), m_spans.rend(), type);
    if (found != m_spans.rend()) {
        const auto depth = static_cast<size_t>(m_spans.rend() - found) - 1;
        m_spans.resize(depth);
        m_styles.resize(depth + 1);
    }
}

void Reader::receive(MD_TEXTTYPE type, const char* text, size_t size) {
    if (type == MD_TEXT_NULLCHAR) {
        append(QString(QChar::ReplacementCharacter));
        return;
    }
    const auto* begin = m_buffer.bytes.data();
    // Line breaks are reported as text outside of the buffer. They are found by the sentinels instead.
    if (std::less<>()(text, begin) || !std::less<>()(text, begin + m_buffer.bytes.size())) {
        return;
    }
    const auto start = static_cast<size_t>(text - begin);
    if (m_entered) {
        noteOpeners(m_end, start);
        m_entered = false;
    }
    if (m_leftLink) {
        noteAddress(m_end, start);
        m_leftLink = false;
    }
    if (type == MD_TEXT_ENTITY) {
        append(decodeEntity(QString::fromUtf8(text, static_cast<qsizetype>(size))));
    } else {
        receiveRange(type, start, start + size);
    }
    m_end = start + size;
}

void Reader::receiveRange(MD_TEXTTYPE type, size_t start, size_t end) {
    auto pending = start;
    const auto flush = [&](size_t to) {
        if (to > pending) {
            append(QString::fromUtf8(m_buffer.bytes.data() + pending, static_cast<qsizetype>(to - pending)));
        }
    };
    for (auto at = start; at < end;) {
        const bool begins = m_buffer.beginsLine(at);
        if (begins || m_buffer.endsLine(at)) {
            // A backslash at the end of a line is a line break, too.
            const bool escape = !begins && type != MD_TEXT_CODE && at > pending &&
                                m_buffer.bytes[at - 1] == '\\' &&
                                !(at >= 2 && at - 1 == start && m_buffer.bytes[at - 2] == '\\') &&
                                at + sentinel.size() < m_buffer.bytes.size();
            flush(escape ? at - 1 : at);
            if (begins && at > 0) {
                append(QStringLiteral("\n"));
                m_inParentheses = m_inParentheses && m_inTitle;
            }
            at += sentinel.size();
            pending = at;
            if (begins) {
                offerCut(at);
            }
            continue;
        }
        if (type != MD_TEXT_CODE) {
            noteDelimiter(at);
            if (m_buffer.bytes[at] == ' ') {
                flush(at + 1);
                pending = at + 1;
                offerCut(at + 1);
            }
        }
        ++at;
    }
    flush(end);
}

void Reader::append(const QString& text) {
    auto& whole = m_parts.whole;
    const auto& style = m_styles.back();
    if (!style.looksLike({})) {
        if (!whole.runs.isEmpty() && whole.runs.last().end() == whole.text.size() &&
            whole.runs.last().looksLike(style)) {
            whole.runs.last().length += text.size();
        } else {
            auto run = style;
            run.start = whole.text.size();
            run.length = text.size();
            whole.runs.append(std::move(run));
        }
    }
    whole.text += text;
}

// Notes a delimiter that has remained text: later text may still match it, or it may match earlier text. In
// doubt it is counted, which costs only time.
void Reader::noteDelimiter(size_t at) {
    switch (m_buffer.bytes[at]) {
    case '*':
    case '_':
        noteEmphasis(at, false);
        break;
    case '`':
        m_open |= MarkdownDelimiter::backtick;
        m_parts.closable |= MarkdownDelimiter::backtick;
        break;
    case '[':
        ++m_brackets;
        break;
    case ']':
        noteBrackets(at);
        break;
    case ')':
        m_parts.closable |= MarkdownDelimiter::parenthesis;
        break;
    default:
        break;
    }
}

void Reader::noteBrackets(size_t at) {
    const auto& bytes = m_buffer.bytes;
    if (m_brackets > 0 && bytes[at - 1] != '\\') {
        --m_brackets;
    } else {
        m_parts.closable |= MarkdownDelimiter::bracket;
    }
    if (at + 1 < bytes.size() && bytes[at + 1] == '(') {
        m_inParentheses = true;
        const auto rest = std::string_view(bytes).substr(at + 2);
        m_inTitle = m_inTitle || rest.substr(0, rest.find('\n')).find_first_of("\"'(") != rest.npos;
    }
}

void Reader::noteOpeners(size_t from, size_t to) {
    for (auto at = from; at < to; ++at) {
        if (m_buffer.bytes[at] == '*' || m_buffer.bytes[at] == '_') {
            noteEmphasis(at, true);
        }
    }
}

// The parser lets characters in an address close a span that was opened before the link, or open one.
void Reader::noteAddress(size_t from, size_t to) {
    for (auto at = from; at < to; ++at) {
        if (std::string_view("*_`").find(m_buffer.bytes[at]) != std::string_view::npos) {
            noteDelimiter(at);
        }
    }
}

void Reader::noteEmphasis(size_t at, bool consumedAsOpener) {
    const auto& bytes = m_buffer.bytes;
    const auto mark = bytes[at];
    auto start = at;
    while (start > 0 && bytes[start - 1] == mark) {
        --start;
    }
    auto end = at + 1;
    while (end < bytes.size() && bytes[end] == mark) {
        ++end;
    }
    const auto before = m_buffer.characterBefore(start);
    const auto after = end < bytes.size() ? m_buffer.characterAt(end) : U' ';
    const bool inWord = mark == '_' && QChar::isLetterOrNumber(before) && QChar::isLetterOrNumber(after);
    const auto kind = mark == '*' ? MarkdownDelimiter::star : MarkdownDelimiter::underscore;
    if (!inWord && !QChar::isSpace(after) && !consumedAsOpener) {
        m_open |= kind;
    }
    if (!inWord && !QChar::isSpace(before)) {
        m_parts.closable |= kind;
    }
}

void Reader::offerCut(size_t at) {
    if (m_styles.size() > 1 || at + uncutBytes > m_buffer.bytes.size()) {
        return;
    }
    auto open = m_open;
    open.setFlag(MarkdownDelimiter::bracket, m_brackets > 0);
    open.setFlag(MarkdownDelimiter::parenthesis, m_inParentheses);
    m_parts.cut = {static_cast<qsizetype>(at), m_parts.whole.text.size(), open};
}

} // namespace

AttributedString markdownAttributed(QStringView source) {
    return parseMarkdownParts(source).whole;
}

MarkdownParts parseMarkdownParts(QStringView source) {
    return Reader(source).read();
}

} // namespace corvane
