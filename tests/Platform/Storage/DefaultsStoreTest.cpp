#include "Platform/Storage/DefaultsStore.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Rows.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

using platform::DefaultsStore;

class DefaultsStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QFile::remove(m_path);
        m_store = platform::makeFileDefaultsStore(m_path);
    }

    void readsWhatAHandWrote_data() {
        const auto row = rows<QString, QString>();
        row("blanks kept by quotes", R"("  padded ")", "string   padded ");
        row("true", "true", "boolean true");
        row("0", "0", "boolean false, integer 0, real 0");
        row("YES", "YES", "string YES, boolean true");
        row("off", "off", "string off, boolean false");
        row("over several lines", "{\n  \"a\": [\n    \"=\",\n    {}\n  ]\n}",
            "data {\n  \"a\": [\n    \"=\",\n    {}\n  ]\n}");
        row("true as text", R"("true")", "string true");
        row("whole number", "-3", "integer -3, real -3");
        row("object", R"({"appIcon": {"isVisible":true}, "name":"a, b; 'c' = d"})",
            R"(data {"appIcon": {"isVisible":true}, "name":"a, b; 'c' = d"})");
        row("broken object", R"({"appIcon":)", R"(string {"appIcon":)");
        row("bytes", "@base64(AP8=)", "data <00ff>");
        row("broken bytes", "@base64(*)", "");
    }
    void readsWhatAHandWrote() {
        const auto [text, kinds] = currentRow<QString, QString>();
        m_store.reset();
        writeFile("before=1\nvalue = " + text.toUtf8() + "\r\nafter=2\n");
        m_store = platform::makeFileDefaultsStore(m_path);
        QCOMPARE(readings("value"), kinds);
        QCOMPARE(m_store->integer("before"), 1);
        QCOMPARE(m_store->integer("after"), 2);
    }

    void keepsEveryValueAndItsKindOverARestart() {
        const auto texts = QString("|plain|TRUE|12|1e3|{}|@base64(AA==)|\"q\"| padded |two\nlines\tand\\more|"
                                   "a=b|#x|\u00a0edge|\x1f\"")
                               .split(u'|');
        for (const auto& text : texts) {
            m_store->setString("text " + QString::number(texts.indexOf(text)), text);
        }
        const auto json = "{\"t\":\"\\u0001\\\"\\\\,\",\"n\":1.0}"_qba;
        m_store->setData("bytes", "\xff\x00"_qba);
        m_store->setData("json", json);
        m_store->setData("cut off", json + '\xee');
        m_store->setDouble("real", 100);
        m_store->setInteger("integer", std::numeric_limits<qint64>::min());
        m_store->setBool("no", false);
        m_store = platform::makeFileDefaultsStore(m_path);
        for (const auto& text : texts) {
            QCOMPARE(readings("text " + QString::number(texts.indexOf(text))), "string " + text);
        }
        QCOMPARE(m_store->data("bytes"), "\xff\x00"_qba);
        QCOMPARE(m_store->data("json"), json);
        QCOMPARE(m_store->data("cut off"), json + '\xee');
        QCOMPARE(readings("real"), "real 100");
        QCOMPARE(m_store->integer("integer"), std::numeric_limits<qint64>::min());
        QCOMPARE(readings("no"), "boolean false");
    }

    void writesAtOnceInAFormAUserReads() {
        m_store->setData("customizable", R"({"cursor":{"type":"default"}})");
        m_store->setString("theme", "dark");
        QCOMPARE(readFile(), "[General]\ncustomizable={\"cursor\":{\"type\":\"default\"}}\ntheme=dark\n");
        m_store->remove("customizable");
        QCOMPARE(readFile(), "[General]\ntheme=dark\n");
    }

    // Before a run and after it, the file is the same but for what was changed.
    void aWriteKeepsWhatAHandPutIntoTheFile() {
        const auto before = "\xef\xbb\xbf; mine\r\n\r\n  theme = dark \r\nnothing \xff\x01\r\n[General]\r\n"
                            "screenshot_config={\r\n  \"mode\": \"auto\"\r\n}\r\n# yes\r\nautostart=Yes\r\n"
                            "broken={\r\n[extra]\r\ntheme=x\r\n# the end"_qba;
        writeFile(before);
        const LogCapture log;
        m_store = platform::makeFileDefaultsStore(m_path);
        QCOMPARE(m_store->string("theme"), "dark");
        QCOMPARE(m_store->string("extra/theme"), "x");
        QCOMPARE(m_store->data("broken"), std::nullopt);
        // What says the same already stays as it is.
        m_store->setData("screenshot_config", R"({"mode":"auto"})");
        m_store->setBool("autostart", true);
        QCOMPARE(readFile(), before);
        m_store->setString("theme", "light");
        m_store->setInteger("new", 1);
        auto after = before;
        after.replace("= dark ", "= light ").replace("broken={\r\n", "broken={\r\nnew=1\r\n");
        QCOMPARE(readFile(), after);
        QCOMPARE(log.count("[Settings]"), 1);
        QVERIFY(log.contains("line 4, 11: cannot be read"));
    }

    void aHandsChangeCountsAtTheNextRequest() {
        m_store->setString("theme", "dark");
        writeFile("theme=light\nprompt=be brief\n");
        QCOMPARE(m_store->string("prompt"), "be brief");
        QCOMPARE(m_store->string("theme"), "light");
        m_store->setInteger("n", 1);
        QCOMPARE(readFile(), "theme=light\nprompt=be brief\nn=1\n");
    }

    void aFileBeyondAllMeasureIsLeftAlone() {
        const QByteArray enormous(1024 * 1024 + 1, '#');
        writeFile(enormous);
        const LogCapture log;
        m_store = platform::makeFileDefaultsStore(m_path);
        m_store->setInteger("n", 1);
        QCOMPARE(m_store->integer("n"), 1);
        QCOMPARE(readFile(), enormous);
        QCOMPARE(log.count("cannot be read"), 1);
    }

    void onlyTheUserReadsTheFile() {
        const auto path = m_folder.filePath("new/folder/defaults.conf");
        auto store = platform::makeFileDefaultsStore(path);
        QCOMPARE(mode(path), 0600);
        QCOMPARE(mode(QFileInfo(path).path()), 0700);
        QFile::setPermissions(path, QFile::Permissions(0x6644));
        store->setInteger("n", 1);
        QCOMPARE(mode(path), 0600);
        QCOMPARE(QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void aPlaceThatCannotBeWrittenIsSaidOnce() {
        const LogCapture log;
        writeFile("");
        auto store = platform::makeFileDefaultsStore(m_path + QStringLiteral("/below/a/file.conf"));
        store->setInteger("n", 1);
        store->setInteger("n", 2);
        QCOMPARE(store->integer("n"), 2);
        QCOMPARE(log.count("[Settings] Could not write"), 1);
    }

private:
    // The kinds that read the value, each with what it reads.
    QString readings(const QString& key) const {
        QStringList all;
        const auto add = [&](const char* kind, const auto& value, auto text) {
            all += value ? QStringList{kind + (u' ' + text(*value))} : QStringList();
        };
        const auto number = [](auto value) { return QString::number(value); };
        add("string", m_store->string(key), [](const QString& value) { return value; });
        add("boolean", m_store->boolean(key), [](bool value) { return QString(value ? "true" : "false"); });
        add("integer", m_store->integer(key), number);
        add("real", m_store->real(key), number);
        add("data", m_store->data(key), [](const QByteArray& value) {
            return QString::fromUtf8(value.startsWith('{') ? value : '<' + value.toHex() + '>');
        });
        return all.join(", ");
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
    QTemporaryDir m_folder{"/dev/shm/defaults-XXXXXX"};
    QString m_path = m_folder.filePath("defaults.conf");
    std::unique_ptr<DefaultsStore> m_store;
};

QTEST_GUILESS_MAIN(DefaultsStoreTest)
#include "DefaultsStoreTest.moc"
