#include "Platform/Update/UpdateVersion.h"

#include <QProcess>
#include <QRandomGenerator>

using namespace platform;

class UpdateVersionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Pieces that the order treats differently, put together at random, and what dpkg says of each pair.
    void theOrderIsThatOfDpkg() {
        QStringList pairs{"1.0 1.0.0",    "1.0-1 1.0",     "1:0.1 2.0",  "1.0~beta 1.0",
                          "1.0-beta 1.0", "1.9 1.10",      "1.02 1.2",   "0:1.0 1.0-0",
                          "1.0+a 1.0a",   "1.0-1-1 1.0-1", "1.0a 1.0.a", "1.0~~ 1.0~a"};
        static const QStringList pieces{"0",  "1", "9",  "10", "007", "a", "B",
                                        "rc", "~", "~~", "+",  ".",   "-", "20261123093000000000001"};
        QRandomGenerator random(20261124);
        const auto version = [&random] {
            QString text = random.bounded(8) == 0 ? "2:1" : "1";
            for (auto count = random.bounded(6); count > 0; --count) {
                text += pieces.at(random.bounded(pieces.size()));
            }
            return text;
        };
        while (pairs.size() < 160) {
            const auto left = version();
            const auto right = version();
            if (isVersion(left) && isVersion(right)) {
                pairs.append(left + u' ' + right);
            }
        }
        QProcess dpkg;
        dpkg.start(
            "sh",
            {"-c",
             "while read -r a b; do if dpkg --compare-versions \"$a\" lt \"$b\"; then echo -1; elif dpkg "
             "--compare-versions \"$a\" gt \"$b\"; then echo 1; else echo 0; fi; done 2>/dev/null"});
        dpkg.write(pairs.join(u'\n').toUtf8() + '\n');
        dpkg.closeWriteChannel();
        QVERIFY(dpkg.waitForFinished(60'000));
        const auto answers = QString::fromUtf8(dpkg.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(answers.size(), pairs.size());
        for (qsizetype i = 0; i < pairs.size(); ++i) {
            const auto left = pairs.at(i).section(u' ', 0, 0);
            const auto right = pairs.at(i).section(u' ', 1);
            const auto order = compareVersions(left, right);
            QVERIFY2((order <=> 0) == (answers.at(i).toInt() <=> 0),
                     qPrintable(pairs.at(i) + " " + answers.at(i)));
        }
    }

    void otherTextsAreNoVersions() {
        QVERIFY(isVersion(u"1:2.3~rc4+b-5"));
        for (const auto& text :
             QStringList{"", "v1.0", "1:", "1:2:3", "1.0-", "1.0 beta", QString(65, u'1')}) {
            QVERIFY2(!isVersion(text), qPrintable(text));
        }
    }
};

QTEST_GUILESS_MAIN(UpdateVersionTest)
#include "UpdateVersionTest.moc"
