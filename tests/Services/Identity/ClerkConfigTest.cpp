#include "ApplicationInfo.h"
#include "IdentityFixture.h"
#include "Rows.h"

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
        const auto row = rows<QString, QString>();
        // "a.example$" encodes with padding "==", "ab.example$" with "=", "abc.example$" with none.
        row("no padding left out", test("YWJjLmV4YW1wbGUk"), "https://abc.example");
        row("padding 1 left out", test("YWIuZXhhbXBsZSQ"), "https://ab.example");
        row("padding 2", test("YS5leGFtcGxlJA=="), "https://a.example");
        row("padding 2 left out", test("YS5leGFtcGxlJA"), "https://a.example");
        row("nothing", {}, "missingPrefix");
        row("other prefix", "sk_test_YWJjLmV4YW1wbGUk", "missingPrefix");
        row("no dollar", test(QByteArray("a.example").toBase64()), "missingTrailingDollar");
        for (const QByteArray base64 : {"YWJjLmV4YW1wbGU_", "YWJjLmV4\nYW1wbGUk", "YQ==YS5leGFtcGxlJA==",
                                        "YWJjL", "YWJjLmV4YW1wbGé", "Yf8uZXhhbXBsZSQ="}) {
            row(base64, test(base64), "invalidBase64");
        }
        for (const auto* host : {"", "a.example/", "a.example:8443", "u@a.example", "a.example?q",
                                 "a.example#f", "a b.example", "a%62.example", "a.example\n"}) {
            row(host, test(QByteArray(host).append('$').toBase64()), "invalidHost");
        }
    }
    void readsThePublishableKey() {
        const auto [key, expected] = currentRow<QString, QString>();
        QCOMPARE(outcome([&] { return ClerkConfig(key); }), expected);
    }

    void thePrefixTellsDevelopmentFromProduction() {
        QVERIFY(ClerkConfig(developmentKey).isDevelopment() && !ClerkConfig(productionKey).isDevelopment());
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
