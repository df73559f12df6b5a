#include "Platform/Update/Appcast.h"

#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateVersion.h"

#include <QXmlStreamReader>

#include <algorithm>
#include <array>

namespace platform {

namespace {

const auto sparkle = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

// The elements of an item that are a text.
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

class Reader {
public:
    explicit Reader(const QByteArray& feed)
        : m_xml(feed) {}

    QList<AppcastItem> read() {
        enterRoot();
        QList<AppcastItem> items;
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() == u"channel") {
                readChannel(items);
            } else {
                m_xml.skipCurrentElement();
            }
        }
        // What stands behind the end of the feed is looked at too.
        while (!m_xml.atEnd()) {
            m_xml.readNext();
        }
        complainOfErrors();
        return items;
    }

private:
    void enterRoot() {
        while (!m_xml.atEnd() && !m_xml.isStartElement()) {
            if (m_xml.readNext() == QXmlStreamReader::DTD) {
                throw UpdateError(UpdateError::unreadableFeed,
                                  QStringLiteral("The update feed declares a document type, which a feed "
                                                 "may not. Tell who runs the update server."));
            }
        }
        complainOfErrors();
        if (m_xml.name() != u"rss") {
            throw UpdateError(UpdateError::unreadableFeed,
                              QStringLiteral("The update server sent something else than an update feed. "
                                             "A network sign-in page may stand in between."));
        }
    }

    void complainOfErrors() const {
        if (m_xml.hasError()) {
            throw UpdateError(UpdateError::unreadableFeed,
                              QStringLiteral("The update feed cannot be read (line %1: %2). Try again later.")
                                  .arg(m_xml.lineNumber())
                                  .arg(m_xml.errorString()));
        }
    }

    void readChannel(QList<AppcastItem>& items) {
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() == u"item") {
                items.append(readItem());
            } else {
                m_xml.skipCurrentElement();
            }
        }
    }

    AppcastItem readItem() {
        AppcastItem item;
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() == u"enclosure") {
                readEnclosure(item);
            } else if (m_xml.name() == u"description") {
                const auto format = m_xml.attributes().value(sparkle, QLatin1String("format"));
                item.descriptionIsHtml = format.isEmpty() || format == u"html";
                item.itemDescription =
                    m_xml.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
            } else if (!readText(item)) {
                m_xml.skipCurrentElement();
            }
        }
        if (item.displayVersionString.isEmpty()) {
            item.displayVersionString = item.versionString;
        }
        return item;
    }

    bool readText(AppcastItem& item) {
        if (m_xml.namespaceUri() != sparkle) {
            return false;
        }
        const auto element = std::ranges::find_if(
            textElements, [this](const TextElement& e) { return m_xml.name() == QLatin1String(e.name); });
        if (element == textElements.end()) {
            return false;
        }
        item.*element->field = m_xml.readElementText().trimmed();
        return true;
    }

    // Older feeds state the versions here.
    void readEnclosure(AppcastItem& item) {
        const auto attributes = m_xml.attributes();
        const auto own = [&attributes](const char* name) {
            return attributes.value(sparkle, QLatin1String(name)).toString();
        };
        item.url = QUrl(attributes.value(QLatin1String("url")).toString(), QUrl::StrictMode);
        item.contentLength = attributes.value(QLatin1String("length")).toLongLong();
        item.signature = QByteArray::fromBase64(own("edSignature").toLatin1());
        item.operatingSystem = own("os");
        if (item.versionString.isEmpty()) {
            item.versionString = own("version");
        }
        if (item.displayVersionString.isEmpty()) {
            item.displayVersionString = own("shortVersionString");
        }
        m_xml.skipCurrentElement();
    }

    QXmlStreamReader m_xml;
};

// An old signed package under a new number would take the program back; so what people read must not be
// older either.
bool isMeantFor(const AppcastItem& item, const UpdateHost& host) {
    return !item.versionString.isEmpty() && item.channel.isEmpty() &&
           (item.operatingSystem.isEmpty() || item.operatingSystem == u"linux") &&
           compareVersions(item.versionString, host.versionString) > 0 &&
           compareVersions(item.displayVersionString, host.displayVersionString) >= 0 &&
           compareVersions(host.kernelVersion, item.minimumSystemVersion) >= 0;
}

} // namespace

QList<AppcastItem> readAppcast(const QByteArray& feed) {
    return Reader(feed).read();
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
