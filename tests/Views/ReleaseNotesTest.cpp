#include "Views/Updates/ReleaseNotes.h"
#include "tests/Support/Rows.h"

#include <QDeadlineTimer>

using namespace corvane;

class ReleaseNotesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void htmlBecomesItsWords_data() {
        const auto row = rows<QString, QString>();
        row("blocks and lists",
            "<h2>New</h2>\n<ul>\n <li>One\n  thing</li><LI class='a'><b>Two</b> things</li></ul><p>End.</p>",
            "New\n\n• One thing\n• Two things\n\nEnd.");
        row("breaks", "a<br>b<br/>c", "a\nb\nc");
        row("entities", "&lt;b&gt; &amp; &quot;&#65;&#x42;&quot;&nbsp;&eacute; & &#xd800; &#0;",
            "<b> & \"AB\" &eacute; & &#xd800; &#0;");
        row("nothing runs",
            "a<script>if (1 < 2) alert(1)</SCRIPT>b<style>p { }</style><img src='https://a.test/x.png'>c",
            "abc");
        row("cut off", "a<script>b", "a");
        row("cut off in a tag", "a <b", "a");
        row("a remark", "a<!-- <p> -->b", "ab");
    }
    void htmlBecomesItsWords() {
        const auto [html, text] = currentRow<QString, QString>();
        QCOMPARE(plainReleaseNotes(html), text);
    }

    void nestingCostsNothing() {
        for (const auto& html : {QString("<b>").repeated(20'000) + u'x', QString(300'000, u'<') + "<b>x",
                                 "x" + QString("<!--").repeated(100'000), "x" + QString(300'000, u'&')}) {
            const QDeadlineTimer deadline(1000);
            const auto text = plainReleaseNotes(html);
            QVERIFY2(!deadline.hasExpired(), qPrintable(html.left(10)));
            QVERIFY2(text.startsWith(u'x') || text.isEmpty(), qPrintable(html.left(10)));
        }
    }
};

QTEST_GUILESS_MAIN(ReleaseNotesTest)
#include "ReleaseNotesTest.moc"
