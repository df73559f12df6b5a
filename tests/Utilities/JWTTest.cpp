#include "JWT.h"

#include <QTest>

using platform::Secret;

namespace {

QString tokenWith(const QByteArray& payload) {
    const auto encoded = payload.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    return QString::fromLatin1("header." + encoded + ".signature");
}

// Seconds since the epoch, or the name of the error's kind.
QString expiryText(const QString& token) {
    try {
        const auto expiry = JWT::expiry(Secret(token)).time_since_epoch();
        return QString::number(std::chrono::duration<double>(expiry).count(), 'f', 3);
    } catch (const JWT::Error& error) {
        return QString::fromLatin1(error.what());
    }
}

} // namespace

class JWTTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsTheExpiry_data() {
        QTest::addColumn<QString>("token");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const QString& token, const char* expected) {
            QTest::newRow(name) << token << QString::fromLatin1(expected);
        };
        row("integer", tokenWith(R"({"exp":1700000000})"), "1700000000.000");
        row("fraction", tokenWith(R"({"exp":1700000000.5})"), "1700000000.500");
        row("exponent", tokenWith(R"({"exp":1.7e9})"), "1700000000.000");
        row("before the epoch", tokenWith(R"({"exp":-1})"), "-1.000");
        row("past any date", tokenWith(R"({"exp":1e300})"), "4000000000000.000");
        // Both characters in which base64url differs, and one and two characters of padding left out.
        row("url alphabet", tokenWith(R"({"exp":1,"n":"ÿ?ÿ>ÿÿ"})"), "1.000");
        row("padding 1", tokenWith(R"({"exp":10})"), "10.000");
        row("empty pieces dropped", tokenWith(R"({"exp":7})").replace(u'.', QStringLiteral("..")), "7.000");
        row("text", tokenWith(R"({"exp":"1700000000"})"), "missingExp");
        row("boolean", tokenWith(R"({"exp":true})"), "missingExp");
        row("null", tokenWith(R"({"exp":null})"), "missingExp");
        row("no exp", tokenWith("{}"), "missingExp");
        row("array", tokenWith("[]"), "invalidPayload");
        row("number", tokenWith("5"), "invalidPayload");
        row("not JSON", tokenWith("{"), "invalidPayload");
        row("illegal character", QStringLiteral("a.e*30.c"), "invalidPayload");
        row("not ASCII", QStringLiteral("a.eée0.c"), "invalidPayload");
        row("impossible length", QStringLiteral("a.eyJ9e.c"), "invalidPayload");
        row("two pieces", QStringLiteral("a.b"), "malformed");
        row("empty payload", QStringLiteral("a..c"), "malformed");
        row("four pieces", QStringLiteral("a.b.c.d"), "malformed");
        row("nothing", QString(), "malformed");
    }
    void readsTheExpiry() {
        QFETCH(QString, token);
        QTEST(expiryText(token), "expected");
    }

    void needsRefreshBelowTheMargin() {
        const platform::WallTime expiry(std::chrono::seconds(1'700'000'000));
        const Secret token(tokenWith(R"({"exp":1700000000})"));
        const auto needsRefresh = [&](std::chrono::milliseconds left) {
            return JWT::needsRefresh(token, 15, expiry - left);
        };
        QVERIFY(!needsRefresh(std::chrono::milliseconds(15'000)));
        QVERIFY(needsRefresh(std::chrono::milliseconds(14'900)));
        QVERIFY(needsRefresh(std::chrono::milliseconds(-1)));
        QVERIFY_EXCEPTION_THROWN(JWT::needsRefresh(Secret(), 15, expiry), JWT::Error);
    }
};

QTEST_GUILESS_MAIN(JWTTest)
#include "JWTTest.moc"
