#include "DefaultsStore.h"
#include "LogCapture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using platform::DefaultsStore;

class DefaultsStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_folder.isValid()); }
    void init() {
        QFile::remove(m_path);
        m_store = platform::makeFileDefaultsStore(m_path);
    }

    void readsWhatAHandWrote_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("kinds"); // those that read it, and the value
        QTest::newRow("word") << "dark"
                              << "string dark";
        QTest::newRow("words with commas and quotes") << R"(Ask "why", then, "how")"
                                                      << R"(string Ask "why", then, "how")";
        QTest::newRow("nothing") << ""
                                 << "string ";
        QTest::newRow("blanks kept by quotes") << R"("  padded ")"
                                               << "string   padded ";
        QTest::newRow("quotes around quotes") << R"("say "hi" \o/")"
                                              << R"(string say "hi" \o/)";
        QTest::newRow("number as text") << R"("85")"
                                        << "string 85";
        QTest::newRow("true") << "true"
                              << "boolean true";
        QTest::newRow("False") << "False"
                               << "boolean false";
        QTest::newRow("true as text") << R"("true")"
                                      << "string true";
        QTest::newRow("whole number") << "-3"
                                      << "integer -3, real -3";
        QTest::newRow("fraction") << "62.5"
                                  << "real 62.5";
        QTest::newRow("whole real") << "100.0"
                                    << "real 100";
        QTest::newRow("not a number") << "nan"
                                      << "string nan";
        QTest::newRow("object") << R"({"appIcon": {"isVisible":true}, "name":"a, b; 'c' = d"})"
                                << R"(data {"appIcon": {"isVisible":true}, "name":"a, b; 'c' = d"})";
        QTest::newRow("array") << "[]"
                               << "data []";
        QTest::newRow("broken object") << R"({"appIcon":)"
                                       << R"(string {"appIcon":)";
        QTest::newRow("bytes") << "@base64(AP8=)"
                               << "data <00ff>";
        QTest::newRow("broken bytes") << "@base64(*)"
                                      << "";
    }
    void readsWhatAHandWrote() {
        QFETCH(QString, text);
        m_store.reset();
        writeFile("before=1\nvalue = " + text.toUtf8() + "\r\nafter=2\n");
        m_store = platform::makeFileDefaultsStore(m_path);
        QTEST(readings(QStringLiteral("value")), "kinds");
        QCOMPARE(m_store->integer(QStringLiteral("before")), 1);
        QCOMPARE(m_store->integer(QStringLiteral("after")), 2);
    }

    void keepsEveryValueAndItsKindOverARestart_data() {
        QTest::addColumn<QString>("text");
        for (const char* text :
             {"", "plain", "true", "TRUE", "12", "1e3", "{}", "[1]", "@base64(AA==)", "\"q\"", " padded ",
              "two\nlines\tand\\more", "a=b", "#x", "\u00a0edge", "日本"}) {
            QTest::newRow(text) << QString::fromUtf8(text);
        }
        QTest::newRow("control characters") << QString(u'\0') + u'\x1f' + u'"';
    }
    void keepsEveryValueAndItsKindOverARestart() {
        QFETCH(QString, text);
        const auto bytes = text.toUtf8() + '\xff';
        const auto json = "{\"t\":\"\\u0001\\\"\\\\,\",\"n\":1.0}"_qba;
        m_store->setString(QStringLiteral("text"), text);
        m_store->setData(QStringLiteral("bytes"), bytes);
        m_store->setData(QStringLiteral("json"), json);
        m_store->setData(QStringLiteral("lines"), "{\n}");
        m_store->setReal(QStringLiteral("real"), 100);
        m_store->setInteger(QStringLiteral("integer"), std::numeric_limits<qint64>::min());
        m_store->setBoolean(QStringLiteral("no"), false);
        m_store = platform::makeFileDefaultsStore(m_path);
        QCOMPARE(readings(QStringLiteral("text")), QStringLiteral("string ") + text);
        QCOMPARE(m_store->data(QStringLiteral("bytes")), bytes);
        QCOMPARE(m_store->data(QStringLiteral("json")), json);
        QCOMPARE(m_store->data(QStringLiteral("lines")), "{\n}"_qba);
        QCOMPARE(readings(QStringLiteral("real")), QStringLiteral("real 100"));
        QCOMPARE(m_store->integer(QStringLiteral("integer")), std::numeric_limits<qint64>::min());
        QCOMPARE(readings(QStringLiteral("no")), QStringLiteral("boolean false"));
    }

    void writesAtOnceInAFormAUserReads() {
        m_store->setData(QStringLiteral("customizable"), R"({"cursor":{"type":"default"}})");
        m_store->setBoolean(QStringLiteral("manual_mode_enabled"), true);
        m_store->setString(QStringLiteral("theme"), QStringLiteral("dark"));
        QCOMPARE(readFile(), "[General]\ncustomizable={\"cursor\":{\"type\":\"default\"}}\n"
                             "manual_mode_enabled=true\ntheme=dark\n"_qba);
        m_store->remove(QStringLiteral("customizable"));
        QVERIFY(!m_store->contains(QStringLiteral("customizable")));
        QVERIFY(!readFile().contains("customizable"));
    }

    void aWriteKeepsWhatAHandPutIntoTheFile() {
        m_store.reset();
        writeFile("# my theme\ntheme=dark\ngarbage \xff\x00\n[extra]\nx=1\n# the end\n"_qba);
        m_store = platform::makeFileDefaultsStore(m_path);
        QCOMPARE(m_store->string(QStringLiteral("theme")), QStringLiteral("dark"));
        writeFile(readFile() + "[General]\nadded=5\n");
        m_store->setString(QStringLiteral("theme"), QStringLiteral("light"));
        QVERIFY(readFile().contains("# my theme\ntheme=light\n"));
        QVERIFY(readFile().contains("garbage"));
        QVERIFY(readFile().contains("# the end"));
        m_store = platform::makeFileDefaultsStore(m_path);
        QCOMPARE(m_store->integer(QStringLiteral("extra/x")), 1);
        QCOMPARE(m_store->integer(QStringLiteral("added")), 5);
    }

    void onlyTheUserReadsTheFile() {
        const auto path = m_folder.filePath(QStringLiteral("new/folder/defaults.conf"));
        auto store = platform::makeFileDefaultsStore(path);
        QCOMPARE(mode(path), 0600);
        QCOMPARE(mode(QFileInfo(path).path()), 0700);
        QFile::setPermissions(path, QFile::Permissions(0x6644));
        store->setInteger(QStringLiteral("n"), 1);
        QCOMPARE(mode(path), 0600);
        QCOMPARE(QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void aPlaceThatCannotBeWrittenIsSaidOnce() {
        const LogCapture log;
        writeFile("");
        auto store = platform::makeFileDefaultsStore(m_path + QStringLiteral("/below/a/file.conf"));
        store->setInteger(QStringLiteral("n"), 1);
        store->setInteger(QStringLiteral("n"), 2);
        QCOMPARE(store->integer(QStringLiteral("n")), 2);
        QCOMPARE(log.count(QStringLiteral("[Settings] Could not write")), 1);
    }

    void theMemoryStoreKeepsKindsApartToo() {
        m_store = platform::makeMemoryDefaultsStore();
        m_store->setString(QStringLiteral("n"), QStringLiteral("1"));
        QCOMPARE(readings(QStringLiteral("n")), QStringLiteral("string 1"));
        m_store->remove(QStringLiteral("n"));
        QVERIFY(!m_store->contains(QStringLiteral("n")));
    }

private:
    QString readings(const QString& key) const {
        QStringList all;
        if (const auto value = m_store->string(key)) {
            all.append(QStringLiteral("string ") + *value);
        }
        if (const auto value = m_store->boolean(key)) {
            all.append(QStringLiteral("boolean ") +
                       (*value ? QStringLiteral("true") : QStringLiteral("false")));
        }
        if (const auto value = m_store->integer(key)) {
            all.append(QStringLiteral("integer ") + QString::number(*value));
        }
        if (const auto value = m_store->real(key)) {
            all.append(QStringLiteral("real ") + QString::number(*value));
        }
        if (const auto value = m_store->data(key)) {
            const bool text = value->startsWith('{') || value->startsWith('[');
            all.append(QStringLiteral("data ") +
                       QString::fromUtf8(text ? *value : '<' + value->toHex() + '>'));
        }
        return all.join(QStringLiteral(", "));
    }
    QByteArray readFile() const {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
    }
    void writeFile(const QByteArray& text) const {
        QFile file(m_path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(text), text.size());
    }
    static int mode(const QString& path) {
        const auto permissions = static_cast<int>(QFile::permissions(path));
        return ((permissions >> 6) & 0700) | (permissions & 077);
    }

    // In memory: every write waits for its disk.
    QTemporaryDir m_folder{QStringLiteral("/dev/shm/defaults-XXXXXX")};
    QString m_path = m_folder.filePath(QStringLiteral("defaults.conf"));
    std::unique_ptr<DefaultsStore> m_store;
};

QTEST_GUILESS_MAIN(DefaultsStoreTest)
#include "DefaultsStoreTest.moc"
