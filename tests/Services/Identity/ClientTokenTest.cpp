#include "ClientToken.h"
#include "Rows.h"

#include <QTest>

class ClientTokenTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void findsTheToken_data() {
        const auto row = rows<QByteArrayList, QString>();
        const QByteArray dated =
            "Set-Cookie: __client_uat=1; Path=/; Expires=Wed, 21 Oct 2065 07:28:00 GMT; Secure";
        row("plain authorization", {"Authorization: abc"}, "abc");
        row("bearer", {"authorization: Bearer abc"}, "abc");
        row("authorization before cookie", {"Set-Cookie: __client=c", "Authorization: abc"}, "abc");
        row("empty authorization", {"Authorization: ", "Set-Cookie: __client=c; HttpOnly"}, "c");
        row("blanks", {"Set-Cookie:  __client = c ; Path=/"}, "c");
        row("second header", {dated, "Set-Cookie: __client=c"}, "c");
        row("first of two", {"Set-Cookie: __client=c", "Set-Cookie: __client=d"}, "c");
        row("empty value", {"Set-Cookie: __client=; Max-Age=0"}, "");
        row("joined by comma", {dated + ", __client=c; Expires=Thu, 22-Oct-2065 07:28:00 GMT, z=1"}, "c");
        row("joined, date last", {"Set-Cookie: a=1; Expires=Wed, 21 Oct 2065 07:28:00 GMT, __client=c"}, "c");
        row("joined by CR LF", {dated + "\r\n__client=c; Path=/"}, "c");
        row("folded date", {"Set-Cookie: a=1; Expires=Wed,\n 21 Oct 2065 07:28:00 GMT,\n __client=c"}, "c");
        row("longer name", {dated}, "none");
        row("other case", {"Set-Cookie: __Client=c"}, "none");
        row("attribute only", {"Set-Cookie: a=1; __client=c"}, "none");
        row("inside a value", {"Set-Cookie: a=__client=c"}, "none");
        row("nothing", {}, "none");
    }
    void findsTheToken() {
        const auto [headers, expected] = currentRow<QByteArrayList, QString>();
        platform::HttpResponse response;
        for (const auto& line : headers) {
            const auto colon = line.indexOf(':');
            response.headers.append({line.left(colon), line.sliced(colon + 1).trimmed()});
        }
        const auto token = extractClientToken(response);
        QCOMPARE(token ? token->reveal() : "none", expected);
    }
};

QTEST_GUILESS_MAIN(ClientTokenTest)
#include "ClientTokenTest.moc"
