#include "Platform/Update/Appcast.h"
#include "Platform/Update/UpdateError.h"

#include "tests/Support/Rows.h"
#include <QDeadlineTimer>

using namespace platform;

namespace {

// A feed of these items; an item is what is between its tags.
QByteArray feedOf(const QByteArrayList& items) {
    QByteArray feed = "<rss xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel>";
    for (const auto& item : items) {
        feed += "<item>" + item + "</item>";
    }
    return feed + "</channel></rss>";
}

QByteArray version(const QByteArray& number, const QByteArray& more = {}) {
    return "<sparkle:version>" + number + "</sparkle:version>" + more;
}

const UpdateHost host{"20", "2.0", "6.1.0-13-amd64"};

} // namespace

class AppcastTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theNewestThatFitsIsChosen_data() {
        const auto row = rows<QByteArrayList, QString>();
        row("the newest of several", {version("21"), version("100"), version("30")}, "100");
        row("none that is newer", {version("20"), version("19")}, {});
        row("the displayed one is the same",
            {version("99", "<sparkle:shortVersionString>2.0</sparkle:shortVersionString>")}, {});
        row("not a version", {version("v30"), version("30 beta")}, {});
        row("for a newer system",
            {version("30", "<sparkle:minimumSystemVersion>7</sparkle:minimumSystemVersion>"), version("21")},
            "21");
        row("for this system",
            {version("30", "<sparkle:minimumSystemVersion>6.1.0</sparkle:minimumSystemVersion>")}, "30");
        row("for another system", {version("30", "<enclosure url='x' sparkle:os='macos'/>")}, {});
        row("in a channel", {version("30", "<sparkle:channel>beta</sparkle:channel>")}, {});
        row("another namespace", {"<version>30</version>"}, {});
        row("on the enclosure", {"<enclosure url='x' sparkle:version='30'/>"}, "30");
    }
    void theNewestThatFitsIsChosen() {
        const auto [items, chosen] = currentRow<QByteArrayList, QString>();
        const auto best = bestUpdate(readAppcast(feedOf(items)), host);
        QCOMPARE(best ? best->versionString : QString(), chosen);
    }

    void textsThatAreNoFeedAreRefused_data() {
        const auto row = rows<QByteArray>();
        row("a page", "<html><body/></html>");
        row("cut off", feedOf({version("30")}).chopped(3));
        row("more behind it", feedOf({version("30")}) + "<x/>");
        row("a document type", "<!DOCTYPE rss [<!ENTITY a 'b'>]>" + feedOf({version("&a;")}));
        row("an unknown entity", feedOf({version("&a;")}));
        row("an element where a version stands", feedOf({version("<b>30</b>")}));
        row("another encoding", feedOf({version("30\xff")}));
        row("a document type behind a quote", "<?x \" ?>" + ("<!DOCTYPE rss>" + feedOf({})));
    }
    void textsThatAreNoFeedAreRefused() {
        const auto [text] = currentRow<QByteArray>();
        QVERIFY_EXCEPTION_THROWN(readAppcast(text), UpdateError);
    }

    // The first of each pair is at the limit, and the second over it. Over it, nothing takes long.
    void aFeedIsBounded_data() {
        const auto row = rows<QByteArray, QByteArray>();
        const auto nested = [](int depth) {
            return feedOf({version("30", "<description>" + QByteArray("<b>").repeated(depth) +
                                             QByteArray("</b>").repeated(depth) + "</description>")});
        };
        const auto padded = [](qsizetype size) {
            const auto feed = feedOf({version("30")});
            return feed + QByteArray(size - feed.size(), ' ');
        };
        // The quoted '>' ends no tag, and the processing instruction's quote begins none.
        const auto attributes = [](int count) {
            QByteArray tag = "<?x \" ?><a b='>'";
            for (int i = 0; i < count; ++i) {
                tag += " a" + QByteArray::number(i) + "=''";
            }
            return feedOf({version("30", tag + "/>")});
        };
        const auto channel = [](qsizetype size) {
            return feedOf({version("30"), version("40", "<sparkle:channel>" + QByteArray(size, 'x') +
                                                            "</sparkle:channel>")});
        };
        row("nesting", nested(appcast::maxNesting - 4), nested(100'000));
        row("length", padded(appcast::largestFeed), padded(appcast::largestFeed + 1));
        row("attributes", attributes(400), attributes(40'000));
        row("a field", channel(appcast::longestField), channel(appcast::longestField + 1));
    }
    void aFeedIsBounded() {
        const auto [within, over] = currentRow<QByteArray, QByteArray>();
        QCOMPARE(bestUpdate(readAppcast(within), host)->versionString, "30");
        const QDeadlineTimer deadline(2000);
        QVERIFY_EXCEPTION_THROWN(readAppcast(over), UpdateError);
        QVERIFY(!deadline.hasExpired());
    }

    void longNotesAreCutOff() {
        const QByteArray notes(100'000, 'n');
        const auto items = readAppcast(feedOf({"<description><b>a</b>" + notes + "</description>"}));
        QCOMPARE(items.first().itemDescription, u'a' + QString(appcast::longestNotes - 1, u'n'));
    }
};

QTEST_GUILESS_MAIN(AppcastTest)
#include "AppcastTest.moc"
