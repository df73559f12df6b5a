#include "Utilities/JWT.h"
#include "tests/Support/Rows.h"

using namespace corvane;

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
        const auto row = rows<QString, QString>();
        row("integer", tokenWith(R"({"exp":1700000000})"), "1700000000.000");
        row("fraction", tokenWith(R"({"exp":1700000000.5})"), "1700000000.500");
        row("before the epoch", tokenWith(R"({"exp":-1})"), "-1.000");
        row("past any date", tokenWith(R"({"exp":1e300})"), "4000000000000.000");
        // Both characters in which base64url differs.
        row("url alphabet", tokenWith(R"({"exp":1,"n":"ÿ?ÿ>ÿÿ"})"), "1.000");
        row("empty pieces dropped", tokenWith(R"({"exp":7})").replace(u'.', ".."), "7.000");
        row("no number", tokenWith(R"({"exp":-0e310})"), "missingExp");
        row("text", tokenWith(R"({"exp":"1700000000"})"), "missingExp");
        row("no exp", tokenWith("{}"), "missingExp");
        row("array", tokenWith("[]"), "invalidPayload");
        row("not JSON", tokenWith("{"), "invalidPayload");
        row("illegal character", "a.e*30.c", "invalidPayload");
        row("not ASCII", "a.eée0.c", "invalidPayload");
        row("impossible length", "a.eyJ9e.c", "invalidPayload");
        row("two pieces", "a.b", "malformed");
        row("empty payload", "a..c", "malformed");
    }
    void readsTheExpiry() {
        const auto [token, expected] = currentRow<QString, QString>();
        QCOMPARE(expiryText(token), expected);
    }
};

QTEST_GUILESS_MAIN(JWTTest)
#include "JWTTest.moc"
