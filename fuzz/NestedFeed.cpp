#include "Platform/Update/Appcast.h"
#include "fuzz/Fuzzing.h"

#include "Platform/Update/UpdateError.h"
#include "Views/Updates/ReleaseNotes.h"

#include <array>
#include <vector>

namespace {

constexpr std::array names{"rss",       "channel", "item", "description", "sparkle:version",
                           "enclosure", "b",       "li"};
constexpr std::array texts{"30",         "&amp;",   "&#65;",  "]]>",       "<![CDATA[<p>n</p>]]>",
                           "<!-- - -->", "&lt;",    "<?x ?>", "<!DOCTYPE", "&none;",
                           " ",          "\xc3\xa9"};
constexpr qsizetype longestFeed = 2 * platform::appcast::largestFeed;

// Generates a feed from a grammar, so that inputs are well-formed and deep: each byte opens elements, closes
// them, or adds a text or an attribute. Its high bits choose the action, its low bits the argument, and the
// next byte how often.
class Feed {
public:
    explicit Feed(const QByteArray& steps) {
        open("rss xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/sparkle'", "rss");
        open("channel", "channel");
        for (qsizetype at = 0; at + 1 < steps.size() && m_text.size() < longestFeed; at += 2) {
            const auto step = static_cast<uchar>(steps.at(at));
            const auto count = static_cast<uchar>(steps.at(at + 1));
            take(step >> 6, step & 0x3f, count);
        }
        while (!m_open.empty()) {
            close();
        }
    }
    const QByteArray& text() const { return m_text; }

private:
    void take(int kind, std::size_t what, int count) {
        const auto* name = names[what % names.size()];
        for (int i = 0; i <= count; ++i) {
            switch (kind) {
            case 0:
                open(name, name);
                break;
            case 1:
                close();
                break;
            case 2:
                m_text += texts[what % texts.size()];
                break;
            default:
                attribute(name, i);
                break;
            }
        }
    }
    void open(const QByteArray& tag, const QByteArray& name) {
        m_text += '<' + tag + '>';
        m_open.push_back(name);
    }
    void close() {
        if (!m_open.empty()) {
            m_text += "</" + m_open.back() + '>';
            m_open.pop_back();
        }
    }
    void attribute(const QByteArray& name, int number) {
        if (m_text.endsWith('>') && !m_text.endsWith("->") && !m_text.endsWith("?>")) {
            m_text.chop(1);
            m_text += ' ' + name + QByteArray::number(number) + "='>'>";
        }
    }

    QByteArray m_text;
    std::vector<QByteArray> m_open;
};

} // namespace

void fuzz(const QByteArray& input) {
    const auto feed = Feed(input).text();
    try {
        for (const auto& item : platform::readAppcast(feed)) {
            ALWAYS(item.itemDescription.size() <= platform::appcast::longestNotes);
            ALWAYS(item.versionString.size() <= platform::appcast::longestTag);
        }
    } catch (const platform::UpdateError& error) {
        ALWAYS(error.code() == platform::UpdateError::unreadableFeed);
        ALWAYS(error.localizedDescription().size() < 1000);
    }
    // The notes' own markup may nest arbitrarily; the result is never longer than the input, except for line
    // breaks and bullets.
    const auto html = QString::fromUtf8(feed.left(platform::appcast::longestNotes));
    const auto notes = corvane::plainReleaseNotes(html);
    ALWAYS(notes.size() <= html.size());
    ALWAYS(notes == notes.trimmed() || notes.endsWith(u' '));
}
