#include "Platform/Update/Appcast.h"
#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateVersion.h"
#include "tests/Support/Rows.h"

using namespace platform;

namespace {

// A feed of these items; an item is what stands between its tags.
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
    void versionsAreOrdered_data() {
        const auto row = rows<QString, QString, int>();
        row("by value, not by text", "1.9", "1.10", -1);
        row("missing is zero", "1.0", "1.0.0", 0);
        row("leading zeros", "1.02", "1.2", 0);
        row("one more component", "1.2", "1.2.1", -1);
        row("text after a dash counts", "1.0-beta", "1.0", -1);
        row("text after a dash, by the alphabet", "1.0-beta", "1.0-RC", -1);
        row("numbers within it", "1.0-beta.2", "1.0-beta.10", -1);
        row("without any mark", "1.0b3", "1.0", -1);
        row("less than the next patch", "1.0.1-rc1", "1.0.1", -1);
        row("more than the patch before", "1.0.1-rc1", "1.0", 1);
        row("a release of another length", "1.0-beta", "1.0.0-beta", 0);
        row("a packager's revision", "1.0-2", "1.0-1", 1);
        row("longer than a machine's number", "20261123093000000000001", "20261123093000000000000", 1);
        row("nothing", "", "0", 0);
    }
    void versionsAreOrdered() {
        const auto [left, right, order] = currentRow<QString, QString, int>();
        QVERIFY((compareVersions(left, right) <=> 0) == (order <=> 0));
        QVERIFY((compareVersions(right, left) <=> 0) == (0 <=> order));
    }

    void theNewestThatFitsIsChosen_data() {
        const auto row = rows<QByteArrayList, QString>();
        row("the newest of several", {version("21"), version("100"), version("30")}, "100");
        row("none that is newer", {version("20"), version("19")}, {});
        row("the displayed one is older",
            {version("99", "<sparkle:shortVersionString>1.9</sparkle:shortVersionString>")}, {});
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
        row("nothing", "");
        row("a page", "<html><body/></html>");
        row("cut off", feedOf({version("30")}).chopped(3));
        row("more behind it", feedOf({version("30")}) + "<x/>");
        row("a document type", "<!DOCTYPE rss [<!ENTITY a 'b'>]>" + feedOf({version("&a;")}));
        row("an external document type", "<!DOCTYPE rss SYSTEM 'file:///etc/passwd'>" + feedOf({}));
        row("an unknown entity", feedOf({version("&a;")}));
        row("an element where a version stands", feedOf({version("<b>30</b>")}));
    }
    void textsThatAreNoFeedAreRefused() {
        const auto [text] = currentRow<QByteArray>();
        QVERIFY_EXCEPTION_THROWN(readAppcast(text), UpdateError);
    }
};

QTEST_GUILESS_MAIN(AppcastTest)
#include "AppcastTest.moc"
