#include "Views/Shared/MarkdownDocument.h"
#include "tests/Support/Rows.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QRandomGenerator>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

using namespace corvane;

namespace {

// A run as {looks:text}, in the order b, i, c and the address of a link.
QString shown(const AttributedString& inlineText) {
    QString result;
    qsizetype at = 0;
    for (const auto& run : inlineText.runs) {
        result += inlineText.text.sliced(at, run.start - at);
        result += u'{' + QString(run.bold ? "b" : "") + (run.italic ? "i" : "") + (run.code ? "c" : "") +
                  run.link + u':' + inlineText.text.sliced(run.start, run.length) + u'}';
        at = run.end();
    }
    return result + inlineText.text.sliced(at);
}

// What streams are made of where parsing goes wrong: delimiters of every kind, at all sides of blanks, line
// ends and words, and plain text in lengths that let parts settle.
QString randomMarkdown(QRandomGenerator& random) {
    static const QStringList pieces{
        "*",      "**",      "_",       "__",       "`",  "``",          "[",     "]",    "](u)",
        "](u \"", "\"",      ")",       "\\",       "<",  "<http://x> ", "&amp;", " ",    "\n",
        "\r\n",   "\n\n",    "- ",      "# ",       "a",  "word ",       "a_b",   "2*3 ", "**bold** ",
        "`c` ",   "[l](u) ", "[l](*) ", "[l](h_) ", "é ", "\U0001F600",  "(x) "};
    QString text;
    const auto count = random.bounded(120);
    for (int i = 0; i < count; ++i) {
        const bool plain = random.bounded(3) > 0;
        text += plain ? QString("plain words ").repeated(random.bounded(20))
                      : pieces.at(random.bounded(pieces.size()));
    }
    return text;
}

} // namespace

class MarkdownTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void inlineSyntaxCountsAndNothingElse_data() {
        const auto row = rows<QString, QString>();
        row("empty", "", "");
        row("emphasis", "a **b** *c* __d__ _e_ ***f***", "a {b:b} {i:c} {b:d} {i:e} {bi:f}");
        row("nested", "**a `b` [c](http://d)**", "{b:a }{bc:b}{b: }{bhttp://d:c}");
        row("headings and lists", "# A\n\n* b\n- c\n1. d\n> e\n---\n    f",
            "# A\n\n* b\n- c\n1. d\n> e\n---\n    f");
        row("blanks and line breaks", "  a  \n\n\n b\n", "  a  \n\n\n b\n");
        row("carriage returns", "a\r\nb\rc", "a\nb\nc");
        row("fences", "```\na\n```\nb", "{c:\na\n}\nb");
        row("across lines", "**a\n\nb** `c\nd` [e\nf](g)", "{b:a\n\nb} {c:c\nd} {g:e\nf}");
        row("unclosed", "a **b *c* `d [e](f", "a **b {i:c} `d [e](f");
        row("a delimiter at a line's end", "a *\nb* c", "a *\nb* c");
        row("a bullet closes nothing", "*a\n* b", "*a\n* b");
        row("inside words", "a_b_c 2*3*4", "a_b_c 2{i:3}4");
        row("HTML", "<b>a</b> <!-- c -->", "<b>a</b> <!-- c -->");
        row("escapes", R"(\*a\* \\ \d)", R"(*a* \ \d)");
        row("an escaped line break", "a\\\nb\\\\\nc", "a\nb\\\nc");
        row("entities", "&amp;&lt; &#233; &#x1F600; &copy; &nonsense;",
            QString::fromUtf8("&< é \U0001F600 \u00A9 &nonsense;"));
        row("no links of their own", "http://a.b www.c.d", "http://a.b www.c.d");
        // Not crossed with what follows it, though md4c takes one star for an end.
        row("an opener in an address", "[a](*)** b", "{*:a}* b");
        row("an opener in an address within a span", "__[a](*)** b__ c", "{b*:a}{b:* b} c");
        row("an address in brackets", "<https://a.b>", "{https://a.b:https://a.b}");
        row("no definitions", "[a]: /b\n[a]", "[a]: /b\n[a]");
        row("the blank that guards the lines", u"\u205Fa\u205F\n\u205F"_qs, u"\u205Fa\u205F\n\u205F"_qs);
        row("tables and struck text", "|a|b|\n|-|-|\n~~c~~", "|a|b|\n|-|-|\n~~c~~");
    }

    void inlineSyntaxCountsAndNothingElse() {
        const auto [source, expected] = currentRow<QString, QString>();
        QCOMPARE(shown(markdownAttributed(source)), expected);
    }

    void aStreamShowsWhatTheWholeTextShows() {
        for (quint32 seed = 1; seed <= 40; ++seed) {
            QRandomGenerator random(seed);
            IncrementalMarkdown markdown;
            QString source;
            const auto whole = randomMarkdown(random);
            QString copy; // as a reader has it that follows the changes
            for (qsizetype at = 0; at < whole.size();) {
                auto unchanged = source.size();
                // Now and then a stream takes back a part of what it has said.
                if (random.bounded(20) == 0) {
                    unchanged = std::max<qsizetype>(0, unchanged - random.bounded(300));
                    at = unchanged;
                }
                const auto count =
                    std::min<qsizetype>(1 + random.bounded(random.bounded(10) ? 30 : 800), whole.size() - at);
                source = source.left(unchanged) + whole.sliced(at, count);
                at += count;
                if (const auto from = markdown.update(source, unchanged)) {
                    copy = copy.left(*from) + markdown.attributedContent().text.sliced(*from);
                }
                const auto expected = markdownAttributed(source);
                QVERIFY2(markdown.attributedContent() == expected,
                         qPrintable(QString("seed %1\n%2\n---\n%3\n---\n%4")
                                        .arg(seed)
                                        .arg(source, shown(markdown.attributedContent()), shown(expected))));
                QCOMPARE(copy, expected.text);
            }
        }
    }

    void theDocumentKeepsItsSelectionAndSettledText() {
        QQmlEngine engine;
        engine.addImportPath("qrc:/qt/qml");
        QQmlComponent component(&engine);
        component.loadUrl(QUrl("qrc:/qt/qml/Corvane/Shared/MarkdownView.qml"));
        const std::unique_ptr<QQuickItem> view(
            qobject_cast<QQuickItem*>(component.createWithInitialProperties({{"width", 300}})));
        QVERIFY2(view, qPrintable(component.errorString()));
        auto* document = view->property("textDocument").value<QQuickTextDocument*>()->textDocument();

        CardText stream;
        view->setProperty("stream", QVariant::fromValue(&stream));
        const auto say = [&](const QString& text) {
            stream.append(text);
            stream.publish();
        };
        say("First **line**\nsecond");
        QMetaObject::invokeMethod(view.get(), "select", Q_ARG(int, 6), Q_ARG(int, 17));
        say(" *li");
        QCOMPARE(document->toPlainText(), "First line\nsecond *li");
        int firstEdit = INT_MAX;
        connect(document, &QTextDocument::contentsChange, this,
                [&](int from) { firstEdit = std::min(firstEdit, from); });
        say("ne* with a [link](http://a.b)");
        QCOMPARE(document->toPlainText(), "First line\nsecond line with a link");
        QCOMPARE(view->property("selectedText").toString(), "line\nsecond");
        QCOMPARE(firstEdit, 18);

        const auto formatAt = [&](int position) {
            QTextCursor cursor(document);
            cursor.setPosition(position + 1);
            return cursor.charFormat();
        };
        QVERIFY(formatAt(6).fontWeight() == QFont::Bold && formatAt(18).fontItalic() &&
                !formatAt(0).fontItalic());
        QCOMPARE(formatAt(30).anchorHref(), "http://a.b");

        // A long line is laid out in parts, which a copy of it does not show.
        const auto longLine = QString("many words ").repeated(1000);
        stream.clear();
        say(longLine);
        QVERIFY(document->blockCount() > 5);
        QMetaObject::invokeMethod(view.get(), "selectAll");
        QKeyEvent copy(QEvent::KeyPress, Qt::Key_C, Qt::ControlModifier);
        QCoreApplication::sendEvent(view.get(), &copy);
        QCOMPARE(QGuiApplication::clipboard()->text(), longLine.trimmed());
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    MarkdownTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "MarkdownTest.moc"
