#include "Views/Updates/ReleaseNotes.h"

#include <QStringView>

#include <algorithm>
#include <array>

namespace corvane {

namespace {

// What a tag adds to the plain text. Other tags are ignored.
struct Tag {
    QStringView name;
    int lineBreaks;
    QStringView text = {};
    bool hidesContent = false;
};
constexpr std::array tags{
    Tag{u"br", 1},
    Tag{u"p", 2},
    Tag{u"div", 1},
    Tag{u"li", 1, u"• "},
    Tag{u"ul", 1},
    Tag{u"ol", 1},
    Tag{u"h1", 2},
    Tag{u"h2", 2},
    Tag{u"h3", 2},
    Tag{u"h4", 2},
    Tag{u"tr", 1},
    Tag{u"script", 0, {}, true},
    Tag{u"style", 0, {}, true},
};

struct Entity {
    QStringView name;
    char16_t character;
};
constexpr std::array entities{
    Entity{u"amp", u'&'},  Entity{u"lt", u'<'},    Entity{u"gt", u'>'},
    Entity{u"quot", u'"'}, Entity{u"apos", u'\''}, Entity{u"nbsp", u' '},
};
constexpr qsizetype longestEntity = 10; // characters

// White space counts once, as in HTML, and line breaks are added only between words.
class Words {
public:
    void add(QStringView text) {
        for (const auto character : text) {
            if (character.isSpace()) {
                m_blank = true;
                continue;
            }
            separate();
            m_text += character;
        }
    }
    void breakLine(int count) { m_breaks = std::max(m_breaks, count); }
    void bullet(QStringView mark) {
        separate();
        m_text += mark;
    }
    QString text() const { return m_text; }

private:
    void separate() {
        if (!m_text.isEmpty() && m_breaks > 0) {
            m_text += QString(m_breaks, u'\n');
        } else if (m_blank && !m_text.isEmpty() && !m_text.back().isSpace()) {
            m_text += u' ';
        }
        m_breaks = 0;
        m_blank = false;
    }

    QString m_text;
    int m_breaks = 0;
    bool m_blank = false;
};

class Notes {
public:
    explicit Notes(QStringView html)
        : m_html(html) {}

    QString read() {
        while (m_at < m_html.size()) {
            const auto sign = m_html[m_at];
            if (sign == u'<') {
                readTag();
            } else if (sign == u'&') {
                readEntity();
            } else {
                m_words.add(m_html.sliced(m_at++, 1));
            }
        }
        return m_words.text();
    }

private:
    // Returns the position after the next occurrence of the text, or the end.
    qsizetype endOf(QStringView text) const {
        const auto found = m_html.indexOf(text, m_at, Qt::CaseInsensitive);
        return found < 0 ? m_html.size() : found + text.size();
    }

    void readTag() {
        if (m_html.sliced(m_at).startsWith(u"<!--")) {
            m_at = endOf(u"-->");
            return;
        }
        const auto end = endOf(u">");
        auto name = m_html.sliced(m_at + 1, end - m_at - 1);
        const bool closes = name.startsWith(u'/');
        name = name.sliced(closes ? 1 : 0);
        name = name.first(std::ranges::find_if_not(name, [](QChar c) { return c.isLetterOrNumber(); }) -
                          name.begin());
        m_at = end;
        const auto* tag = std::ranges::find_if(
            tags, [name](const Tag& t) { return t.name.compare(name, Qt::CaseInsensitive) == 0; });
        if (tag == tags.end()) {
            return;
        }
        m_words.breakLine(tag->lineBreaks);
        if (!closes && !tag->text.isEmpty()) {
            m_words.bullet(tag->text);
        }
        if (!closes && tag->hidesContent) {
            m_at = endOf(QStringLiteral("</") + tag->name.toString());
            m_at = endOf(u">");
        }
    }

    void readEntity() {
        const auto rest = m_html.sliced(m_at + 1, std::min(longestEntity, m_html.size() - m_at - 1));
        const auto length = rest.indexOf(u';');
        const auto name = rest.first(std::max<qsizetype>(length, 0));
        const auto character = entityText(name);
        m_at += 1;
        if (character.isEmpty()) {
            m_words.add(u"&");
            return;
        }
        m_words.add(character);
        m_at += length + 1;
    }

    static QString entityText(QStringView name) {
        if (name.startsWith(u'#')) {
            const bool isHex = name.sliced(1).startsWith(u'x', Qt::CaseInsensitive);
            bool isNumber = false;
            const auto code = name.sliced(isHex ? 2 : 1).toUInt(&isNumber, isHex ? 16 : 10);
            const bool isCharacter =
                isNumber && code >= u' ' && code <= QChar::LastValidCodePoint && !QChar::isSurrogate(code);
            return isCharacter ? QString::fromUcs4(reinterpret_cast<const char32_t*>(&code), 1) : QString();
        }
        const auto* entity = std::ranges::find(entities, name, &Entity::name);
        return entity == entities.end() ? QString() : QString(QChar(entity->character));
    }

    const QStringView m_html;
    qsizetype m_at = 0;
    Words m_words;
};

} // namespace

QString plainReleaseNotes(const QString& html) {
    return Notes(html).read();
}

} // namespace corvane
