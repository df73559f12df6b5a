#include "ApplicationInfo.h"
#include "IdentityFixture.h"

#include <QTest>

namespace {

// The address, or the name of the error's kind.
template<typename Make>
QString outcome(Make make) {
    try {
        return make().frontendAPIURL().toString();
    } catch (const ClerkConfig::Error& error) {
        return QString::fromLatin1(error.what());
    }
}

QString test(const QByteArray& rest) {
    return QString::fromUtf8("pk_test_" + rest);
}

} // namespace

class ClerkConfigTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsThePublishableKey_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const QString& key, const char* expected) {
            QTest::newRow(name) << key << QString::fromLatin1(expected);
        };
        // "a.example$" encodes with padding "==", "ab.example$" with "=", "abc.example$" with none.
        row("no padding left out", test("YWJjLmV4YW1wbGUk"), "https://abc.example");
        row("padding 1", test("YWIuZXhhbXBsZSQ="), "https://ab.example");
        row("padding 1 left out", test("YWIuZXhhbXBsZSQ"), "https://ab.example");
        row("padding 2", test("YS5leGFtcGxlJA=="), "https://a.example");
        row("padding 2 left out", test("YS5leGFtcGxlJA"), "https://a.example");
        row("nothing", QString(), "missingPrefix");
        row("other prefix", QStringLiteral("sk_test_YWJjLmV4YW1wbGUk"), "missingPrefix");
        row("other case", QStringLiteral("PK_test_YWJjLmV4YW1wbGUk"), "missingPrefix");
        row("prefix alone", test(""), "missingTrailingDollar");
        row("no dollar", test(QByteArray("a.example").toBase64()), "missingTrailingDollar");
        row("url alphabet", test("YWJjLmV4YW1wbGU_"), "invalidBase64");
        row("line break", test("YWJjLmV4\nYW1wbGUk"), "invalidBase64");
        row("padding inside", test("YQ==YS5leGFtcGxlJA=="), "invalidBase64");
        row("padding alone", test("===="), "invalidBase64");
        row("impossible length", test("YWJjL"), "invalidBase64");
        row("not ASCII", test("YWJjLmV4YW1wbGé"), "invalidBase64");
        row("not UTF-8", test(QByteArray("a\xff.example$").toBase64()), "invalidBase64");
        row("cut UTF-8", test(QByteArray("a.example\xc3").toBase64()), "invalidBase64");
        for (const auto* host : {"", "a.example/path", "a.example/", "a.example:8443", "u@a.example",
                                 "a.example?q", "a.example#f", "a b.example", "a%62.example",
                                 "\xef\xbb\xbf"
                                 "a.example",
                                 "a.example\n", "a.example$"}) {
            row(host, test(QByteArray(host).append('$').toBase64()), "invalidHost");
        }
    }
    void readsThePublishableKey() {
        QFETCH(QString, key);
        QTEST(outcome([&] { return ClerkConfig(key); }), "expected");
    }

    void thePrefixTellsDevelopmentFromProduction() {
        QVERIFY(ClerkConfig(developmentKey).isDevelopment());
        QVERIFY(!ClerkConfig(productionKey).isDevelopment());
        QCOMPARE(ClerkConfig(productionKey).publishableKey(), productionKey);
    }

    void comesFromTheApplicationsInformation() {
        const auto from = [](const QByteArray& json) {
            return outcome(
                [&] { return ClerkConfig::fromBundle(platform::ApplicationInfo::fromJson(json)); });
        };
        QCOMPARE(from(R"({"CLERK_PUBLISHABLE_KEY":"pk_live_YS5leGFtcGxlJA"})"), "https://a.example");
        QCOMPARE(from(R"({"CLERK_PUBLISHABLE_KEY":"pk_live_"})"), "missingTrailingDollar");
        for (const auto* json : {"{}", R"({"CLERK_PUBLISHABLE_KEY":""})", R"({"CLERK_PUBLISHABLE_KEY":1})"}) {
            QCOMPARE(from(json), "missingBundleKey");
        }
    }
};

QTEST_GUILESS_MAIN(ClerkConfigTest)
#include "ClerkConfigTest.moc"
