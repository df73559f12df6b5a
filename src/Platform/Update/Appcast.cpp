#include "Platform/Update/Appcast.h"

#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateVersion.h"

#include <QStringDecoder>
#include <QXmlStreamReader>

#include <algorithm>
#include <array>

namespace platform {

namespace {

const auto sparkle = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

// The elements of an item that contain text.
struct TextElement {
    const char* name;
    QString AppcastItem::*field;
};
constexpr std::array textElements{
    TextElement{"version", &AppcastItem::versionString},
    TextElement{"shortVersionString", &AppcastItem::displayVersionString},
    TextElement{"minimumSystemVersion", &AppcastItem::minimumSystemVersion},
    TextElement{"channel", &AppcastItem::channel},
};

[[noreturn]] void refuse(const QString& text) {
    throw UpdateError(UpdateError::unreadableFeed, text);
}

[[noreturn]] void refuseSize() {
    refuse(QStringLiteral("The update feed is larger or more deeply nested than allowed. Contact the "
                          "administrator of the update server."));
}

// Returns the position of the '>' that ends a tag, or the end of the text.
qsizetype endOfTag(QStringView feed, qsizetype at) {
    QChar quote;
    for (; at < feed.size(); ++at) {
        const auto character = feed[at];
        if (quote.isNull() && character == u'>') {
            break;
        }
        if (character == quote) {
            quote = {};
        } else if (quote.isNull() && (character == u'"' || character == u'\'')) {
            quote = character;
        }
    }
    return at;
}

// The XML reader compares every attribute of a tag with every other, so a long tag must be rejected before
// the reader sees it. The declarations of a document type must not reach it at all.
void inspectTags(QStringView feed) {
    struct Section {
        QStringView start;
        QStringView end;
    };
    static constexpr std::array sections{Section{u"<!--", u"-->"}, Section{u"<![CDATA[", u"]]>"},
                                         Section{u"<?", u"?>"}};
    for (auto at = feed.indexOf(u'<'); at >= 0; at = feed.indexOf(u'<', at)) {
        const auto rest = feed.sliced(at);
        const auto* section = std::ranges::find_if(
            sections, [rest](const Section& candidate) { return rest.startsWith(candidate.start); });
        if (section != sections.end()) {
            const auto end = feed.indexOf(section->end, at + section->start.size());
            at = end < 0 ? feed.size() : end;
            continue;
        }
        if (rest.startsWith(u"<!")) {
            refuse(
                QStringLiteral("The update feed declares a document type, which is not allowed. Contact the "
                               "administrator of the update server."));
        }
        const auto end = endOfTag(feed, at);
        if (end - at > appcast::longestTag) {
            refuseSize();
        }
        at = end;
    }
}

// Reads without recursion, and counts the nesting depth.
class Reader {
public:
    explicit Reader(const QString& feed)
        : m_xml(feed) {}

    QList<AppcastItem> read() {
        while (!m_xml.atEnd()) {
            switch (m_xml.readNext()) {
            case QXmlStreamReader::StartElement:
                enter();
                break;
            case QXmlStreamReader::EndElement:
                leave();
                break;
            case QXmlStreamReader::Characters:
                addText(m_xml.text());
                break;
            default:
                break;
            }
        }
        if (m_xml.hasError()) {
            refuse(QStringLiteral("The update feed cannot be read (line %1: %2). Try again later.")
                       .arg(m_xml.lineNumber())
                       .arg(m_xml.errorString().left(appcast::longestField)));
        }
        return m_items;
    }

private:
    // The depth of an element in the feed.
    enum Level { root = 1, channel, item, field };

    void enter() {
        if (++m_depth > appcast::maxNesting) {
            refuseSize();
        }
        const auto name = m_xml.name();
        if (m_depth == root && name != u"rss") {
            refuse(QStringLiteral("The update server sent something else than an update feed. A network "
                                  "sign-in page may stand in between."));
        }
        if (m_depth == channel) {
            m_inChannel = name == u"channel";
        } else if (m_depth == item && m_inChannel) {
            m_inItem = name == u"item";
            m_items.resize(m_items.size() + (m_inItem ? 1 : 0));
        } else if (m_depth == field && m_inItem) {
            enterField(m_items.last());
        } else if (m_depth > field && m_field && m_field != &AppcastItem::itemDescription) {
            m_xml.raiseError(QStringLiteral("an element where a text is expected"));
        }
    }

    void enterField(AppcastItem& current) {
        if (m_xml.name() == u"enclosure") {
            readEnclosure(current);
        } else if (m_xml.name() == u"description") {
            const auto format = m_xml.attributes().value(sparkle, QLatin1String("format"));
            current.descriptionIsHtml = format.isEmpty() || format == u"html";
            m_field = &AppcastItem::itemDescription;
        } else if (m_xml.namespaceUri() == sparkle) {
            const auto* element = std::ranges::find_if(
                textElements, [this](const TextElement& e) { return m_xml.name() == QLatin1String(e.name); });
            m_field = element == textElements.end() ? nullptr : element->field;
        }
        if (m_field) {
            (current.*m_field).clear();
        }
    }

    void leave() {
        if (m_depth == field && m_field) {
            auto& text = m_items.last().*std::exchange(m_field, nullptr);
            text = text.trimmed();
        } else if (m_depth == item && std::exchange(m_inItem, false)) {
            auto& current = m_items.last();
            if (current.displayVersionString.isEmpty()) {
                current.displayVersionString = current.versionString;
            }
        }
        --m_depth;
    }

    void addText(QStringView text) {
        if (!m_field) {
            return;
        }
        auto& into = m_items.last().*m_field;
        if (m_field == &AppcastItem::itemDescription) {
            into += text.first(std::min(text.size(), appcast::longestNotes - into.size()));
        } else if (into.size() + text.size() > appcast::longestField) {
            refuseSize();
        } else {
            into += text;
        }
    }

    // Older feeds state the versions here.
    void readEnclosure(AppcastItem& current) {
        const auto attributes = m_xml.attributes();
        const auto own = [&attributes](const char* name) {
            const auto value = attributes.value(sparkle, QLatin1String(name)).toString();
            if (value.size() > appcast::longestField) {
                refuseSize();
            }
            return value;
        };
        current.url = QUrl(attributes.value(QLatin1String("url")).toString(), QUrl::StrictMode);
        current.contentLength = attributes.value(QLatin1String("length")).toLongLong();
        current.signature = QByteArray::fromBase64(own("edSignature").toLatin1());
        current.operatingSystem = own("os");
        if (current.versionString.isEmpty()) {
            current.versionString = own("version");
        }
        if (current.displayVersionString.isEmpty()) {
            current.displayVersionString = own("shortVersionString");
        }
    }

    QXmlStreamReader m_xml;
    QList<AppcastItem> m_items;
    int m_depth = 0;
    bool m_inChannel = false;
    bool m_inItem = false;
    QString AppcastItem::*m_field = nullptr; // the field of the last item that is being read
};

// An old signed package under a new number would downgrade the program, and the same package would be
// installed over and over, so the display version must be newer too.
bool isMeantFor(const AppcastItem& item, const UpdateHost& host) {
    return isVersion(item.versionString) && isVersion(item.displayVersionString) && item.channel.isEmpty() &&
           (item.operatingSystem.isEmpty() || item.operatingSystem == u"linux") &&
           compareVersions(item.versionString, host.versionString) > 0 &&
           compareVersions(item.displayVersionString, host.displayVersionString) > 0 &&
           compareVersions(host.kernelVersion, item.minimumSystemVersion) >= 0;
}

} // namespace

QList<AppcastItem> readAppcast(const QByteArray& feed) {
    if (feed.size() > appcast::largestFeed) {
        refuseSize();
    }
    // Decoded once, so that the reader sees exactly what was inspected.
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8.decode(feed);
    if (utf8.hasError()) {
        refuse(QStringLiteral(
            "The update feed is not in UTF-8. Contact the administrator of the update server."));
    }
    inspectTags(text);
    return Reader(text).read();
}

std::optional<AppcastItem> bestUpdate(const QList<AppcastItem>& items, const UpdateHost& host) {
    std::optional<AppcastItem> best;
    for (const auto& item : items) {
        if (isMeantFor(item, host) &&
            (!best || compareVersions(item.versionString, best->versionString) > 0)) {
            best = item;
        }
    }
    return best;
}

} // namespace platform
