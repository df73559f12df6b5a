#include "Utilities/LineReader.h"
#include "tests/Support/Rows.h"

using namespace corvane;

namespace {

constexpr qsizetype limit = 8;

// The lines of `bytes` that come in pieces of `size`, and "!" when one was too long.
QByteArrayList linesOf(const QByteArray& bytes, qsizetype size) {
    QByteArrayList lines;
    LineReader reader(limit, [&](QByteArrayView line) {
        lines.append(line.toByteArray());
        return line != "stop";
    });
    for (qsizetype at = 0; at < bytes.size(); at += size) {
        reader.feed(QByteArrayView(bytes).sliced(at, std::min(size, bytes.size() - at)));
    }
    reader.finish();
    return reader.isOverlong() ? lines << "!" : lines;
}

} // namespace

class LineReaderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void linesDoNotDependOnThePieces_data() {
        const auto row = rows<QByteArray, QByteArrayList>();
        row("three kinds of ends", "a\r\nb\nc\rd\n", {"a", "b", "c", "d"});
        row("empty lines", "\n\na\r\n\r\nb\r\r\n\n", {"", "", "a", "", "b", "", ""});
        row("the last one without its end", "a\nb", {"a", "b"});
        row("no other separator", "a\v\f\x1e\xc2\x85\nb\xe2\x80\xa8\nc",
            {"a\v\f\x1e\xc2\x85", "b\xe2\x80\xa8", "c"});
        row("zero bytes", QByteArray("a\0b\n", 4), {QByteArray("a\0b", 3)});
        row("as long as allowed", "12345678\r\n12345678", {"12345678", "12345678"});
        row("too long", "a\n123456789\nb\n", {"a", "!"});
        row("too long and never ending", QByteArray(1000, 'x'), {"!"});
        row("stopped", "a\nstop\nb\nc", {"a", "stop"});
    }
    void linesDoNotDependOnThePieces() {
        const auto [bytes, lines] = currentRow<QByteArray, QByteArrayList>();
        for (const qsizetype size : {1, 2, 3, 1000}) {
            QCOMPARE(linesOf(bytes, size), lines);
        }
    }
};

QTEST_APPLESS_MAIN(LineReaderTest)
#include "LineReaderTest.moc"
