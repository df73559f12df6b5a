#include "ClientToken.h"

#include <QTest>

class ClientTokenTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void findsTheToken_data() {
        QTest::addColumn<QByteArrayList>("headers");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const QByteArrayList& headers, const char* expected) {
            QTest::newRow(name) << headers << QString::fromLatin1(expected);
        };
        const QByteArray dated =
            "Set-Cookie: __client_uat=1; Path=/; Expires=Wed, 21 Oct 2065 07:28:00 GMT; Secure";
        row("plain authorization", {"Authorization: abc"}, "abc");
        row("bearer", {"authorization: Bearer abc"}, "abc");
        row("authorization before cookie", {"Set-Cookie: __client=c", "Authorization: abc"}, "abc");
        row("empty authorization", {"Authorization: ", "Set-Cookie: __client=c; HttpOnly"}, "c");
        row("cookie alone", {"set-cookie: __client=a.b-c_d=="}, "a.b-c_d==");
        row("blanks", {"Set-Cookie:  __client = c ; Path=/"}, "c");
        row("second header", {dated, "Set-Cookie: __client=c"}, "c");
        row("first of two", {"Set-Cookie: __client=c", "Set-Cookie: __client=d"}, "c");
        row("empty value", {"Set-Cookie: __client=; Max-Age=0"}, "");
        row("joined by comma", {dated + ", __client=c; Expires=Thu, 22-Oct-2065 07:28:00 GMT, z=1"}, "c");
        row("joined by comma, no blank", {dated + ",__client=c"}, "c");
        row("joined, date last", {"Set-Cookie: a=1; Expires=Wed, 21 Oct 2065 07:28:00 GMT, __client=c"}, "c");
        row("joined by line break", {dated + "\n__client=c; Path=/"}, "c");
        row("joined by CR LF", {dated + "\r\n__client=c; Path=/"}, "c");
        row("folded line", {dated + ",\r\n\t__client=c;\r\n Path=/"}, "c");
        row("folded date", {"Set-Cookie: a=1; Expires=Wed,\n 21 Oct 2065 07:28:00 GMT,\n __client=c"}, "c");
        row("longer name", {dated}, "none");
        row("other case", {"Set-Cookie: __Client=c"}, "none");
        row("attribute only", {"Set-Cookie: a=1; __client=c"}, "none");
        row("inside a value", {"Set-Cookie: a=__client=c"}, "none");
        row("name alone", {"Set-Cookie: __client"}, "none");
        row("another header", {"Cookie: __client=c"}, "none");
        row("nothing", {}, "none");
    }
    void findsTheToken() {
        QFETCH(QByteArrayList, headers);
        platform::HttpResponse response;
        for (const auto& line : headers) {
            const auto colon = line.indexOf(':');
            response.headers.append({line.left(colon), line.sliced(colon + 1).trimmed()});
        }
        const auto token = extractClientToken(response);
        QTEST(token ? token->reveal() : QStringLiteral("none"), "expected");
    }
};

QTEST_GUILESS_MAIN(ClientTokenTest)
#include "ClientTokenTest.moc"
