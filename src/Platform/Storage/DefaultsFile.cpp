#include "Platform/Storage/DefaultsFile.h"

#include <QJsonDocument>

#include <algorithm>

namespace platform {

namespace {

const QByteArray byteOrderMark = "\xef\xbb\xbf";
constexpr QByteArrayView blanks = " \t\r\n";

// Returns the end of the line that contains `at`, including its line break.
qsizetype endOfLine(const QByteArray& content, qsizetype at) {
    const auto end = content.indexOf('\n', at);
    return end < 0 ? content.size() : end + 1;
}

// Returns the end of the line on which the JSON object or array that begins at `at` ends, or nullopt if none
// ends. The equals sign of the next entry cannot be part of one.
std::optional<qsizetype> endOfDocument(const QByteArray& content, qsizetype at) {
    const auto start = at;
    int depth = 0;
    bool isText = false;
    for (; at < content.size(); ++at) {
        const char sign = content.at(at);
        if (isText ? sign == '\n' : sign == '=') {
            return std::nullopt;
        }
        if (isText && sign == '\\') {
            ++at;
        } else if (sign == '"') {
            isText = !isText;
        } else if (!isText && (sign == '{' || sign == '[')) {
            ++depth;
        } else if (!isText && (sign == '}' || sign == ']') && --depth == 0) {
            const auto end = endOfLine(content, at);
            const bool isDocument = !QJsonDocument::fromJson(content.sliced(start, end - start)).isNull();
            return isDocument ? std::optional(end) : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace

DefaultsFile::DefaultsFile(const QByteArray& content)
    : m_mark(content.startsWith(byteOrderMark) ? byteOrderMark : QByteArray())
    , m_lineEnd(content.contains("\r\n") ? "\r\n" : "\n") {
    QString section;
    for (auto at = m_mark.size(); at < content.size();) {
        m_parts.append(takeLine(content, at, section));
    }
}

DefaultsFile::Part DefaultsFile::takeLine(const QByteArray& content, qsizetype& at, QString& section) {
    const auto start = std::exchange(at, endOfLine(content, at));
    const auto line = content.sliced(start, at - start).trimmed();
    Part part;
    if (line.startsWith('[') && line.endsWith(']')) {
        section = line == "[General]" ? QString() : QString::fromUtf8(line.sliced(1).chopped(1)) + u'/';
        part.before = content.sliced(start, at - start);
    } else if (line.isEmpty() || line.startsWith('#') || line.startsWith(';') || line.indexOf('=') < 1) {
        part.before = content.sliced(start, at - start);
        part.isReadable = line.isEmpty() || line.startsWith('#') || line.startsWith(';');
    } else {
        part = entry(content, start, at);
        part.key.prepend(section);
    }
    part.isInSection = !section.isEmpty();
    return part;
}

DefaultsFile::Part DefaultsFile::entry(const QByteArray& content, qsizetype start, qsizetype& end) const {
    const auto equals = content.indexOf('=', start);
    auto from = equals + 1;
    while (from < end && blanks.contains(content.at(from)) && content.at(from) != '\n') {
        ++from;
    }
    bool isReadable = true;
    if (from < end && (content.at(from) == '{' || content.at(from) == '[')) {
        const auto documentEnd = endOfDocument(content, from);
        isReadable = documentEnd.has_value();
        end = documentEnd.value_or(end);
    }
    auto to = end;
    while (to > from && blanks.contains(content.at(to - 1))) {
        --to;
    }
    return {QString::fromUtf8(content.sliced(start, equals - start).trimmed()),
            content.sliced(start, from - start),
            content.sliced(from, to - from),
            content.sliced(to, end - to),
            isReadable,
            false};
}

QByteArray DefaultsFile::content() const {
    auto content = m_mark;
    for (const auto& part : m_parts) {
        content += part.content();
    }
    return content;
}

std::optional<QString> DefaultsFile::text(const QString& key) const {
    const auto part = std::find_if(m_parts.rbegin(), m_parts.rend(),
                                   [&key](const Part& candidate) { return candidate.key == key; });
    return key.isEmpty() || part == m_parts.rend() ? std::nullopt
                                                   : std::optional(QString::fromUtf8(part->value));
}

void DefaultsFile::setText(const QString& key, const QString& text) {
    const auto part = std::find_if(m_parts.rbegin(), m_parts.rend(),
                                   [&key](const Part& candidate) { return candidate.key == key; });
    if (part != m_parts.rend()) {
        part->value = text.toUtf8();
        part->isReadable = true;
        return;
    }
    if (m_parts.isEmpty()) {
        m_parts.append({{}, "[General]" + m_lineEnd, {}, {}, true, false});
    }
    const auto place = placeForNew();
    if (place > 0 && !m_parts.at(place - 1).content().endsWith('\n')) {
        m_parts[place - 1].after += m_lineEnd;
    }
    m_parts.insert(place, {key, key.toUtf8() + '=', text.toUtf8(), m_lineEnd, true, false});
}

void DefaultsFile::remove(const QString& key) {
    m_parts.removeIf([&key](const Part& part) { return part.key == key; });
}

// If the file has only sections, a new entry goes before them.
qsizetype DefaultsFile::placeForNew() const {
    const auto last = std::find_if(m_parts.rbegin(), m_parts.rend(), [](const Part& part) {
        return !part.isInSection && (!part.key.isEmpty() || part.before.trimmed() == "[General]");
    });
    if (last != m_parts.rend()) {
        return m_parts.rend() - last;
    }
    const auto section = std::ranges::find_if(m_parts, &Part::isInSection);
    return section - m_parts.begin();
}

QList<DefaultsFile::Unread> DefaultsFile::unread() const {
    QList<Unread> unread;
    qsizetype line = 1;
    for (const auto& part : m_parts) {
        const auto content = part.content();
        if (!part.isReadable) {
            unread.append({line, content.trimmed()});
        }
        line += content.count('\n');
    }
    return unread;
}

} // namespace platform
