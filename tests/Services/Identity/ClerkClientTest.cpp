#include "Platform/Desktop/ApplicationInfo.h"
#include "Services/ClientToken.h"
#include "tests/Services/Identity/IdentityFixture.h"
#include "tests/Support/Rows.h"

using namespace corvane;

using platform::Secret;

namespace {

// A request as it leaves: request line, headers, blank line, body.
QByteArray wire(const platform::HttpRequest& request) {
    auto text = request.method + ' ' + request.url.toEncoded() + '\n';
    for (const auto& header : request.headers) {
        text += header.name + ": " + header.value + '\n';
    }
    return text + '\n' + request.body.value_or("(no body)");
}

using Call = std::function<void(ClerkClient&)>;

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

class ClerkClientTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyRequestHasItsExactShape_data() {
        const auto row = rows<Call, QByteArray, QByteArray>();
        const Secret token("ct");
        const Call create = [](ClerkClient& client) { ::waitFor(client.createSignIn("é+x_y-z.~@b.c d")); };
        const Call prepare = [token](ClerkClient& client) {
            ::waitFor(client.prepareFirstFactor("sia_1", "idn_1", token));
        };
        const Call attempt = [token](ClerkClient& client) {
            ::waitFor(client.attemptFirstFactor("sia_1", Secret("42 42"), token));
        };
        const Call signOut = [token](ClerkClient& client) { ::waitFor(client.signOut("sess_1", token)); };
        const Call hostile = [token](ClerkClient& client) {
            ::waitFor(client.createSessionToken("../a/b?c#d%2Fe", token));
        };
        row("create", create, "sign_ins", "identifier=%C3%A9%2Bx_y-z.~%40b.c%20d&strategy=email_code");
        row("prepare", prepare, "sign_ins/sia_1/prepare_first_factor",
            "strategy=email_code&email_address_id=idn_1");
        row("attempt", attempt, "sign_ins/sia_1/attempt_first_factor", "strategy=email_code&code=42%2042");
        row("sign out", signOut, "sessions/sess_1/remove", "");
        row("token, hostile id", hostile, "sessions/..%2Fa%2Fb%3Fc%23d%252Fe/tokens", "");
    }
    void everyRequestHasItsExactShape() {
        const auto [perform, path, body] = currentRow<Call, QByteArray, QByteArray>();
        const QByteArray answer =
            R"({"jwt":"j.w.t","response":{"id":"sia_1","status":"needs_first_factor"}})";
        const QByteArray cookie = path == "sign_ins" ? "" : "Cookie: __client=ct\n";
        for (const bool development : {false, true}) {
            const auto key = development ? developmentKey : productionKey;
            const auto keyLine = "Clerk-Publishable-Key: " + key.toLatin1() + '\n';
            IdentityFixture f(key);
            if (development) {
                f.http.answer(200, R"({"token":"a+b&c=d\u0023é"})");
            }
            f.http.answer(200, answer);
            perform(*f.client);
            QCOMPARE(f.http.requests().size(), development ? 2 : 1);
            if (development) {
                QCOMPARE(wire(f.http.requests().first()),
                         "POST https://a.example/v1/dev_browser\n" + keyLine + "\n(no body)");
            }
            const QByteArray query = development ? "?__clerk_db_jwt=a%2Bb%26c%3Dd%23%C3%A9" : "";
            QCOMPARE(wire(f.http.requests().last()),
                     "POST https://a.example/v1/client/" + path + query + '\n' + keyLine +
                         "Content-Type: application/x-www-form-urlencoded\n" + cookie + '\n' + body);
        }
    }

    void anIdOfDotsIsNoPath() {
        IdentityFixture f;
        for (const auto* id : {".", ".."}) {
            QVERIFY(!failureOf(f.client->signOut(id, std::nullopt)).isEmpty());
        }
        QVERIFY(f.http.requests().isEmpty());
    }

    void devBrowserAnswers_data() {
        const auto row = rows<int, QByteArray, QString>();
        const auto invalid =
            QStringLiteral("The sign-in service sent an invalid response. Try again in a moment.");
        row("plain", 200, R"({"response":{"token":"b"},"token":"a"})", "a");
        row("wrapped", 200, R"({"response":{"token":"b"}})", "b");
        row("number", 200, R"({"token":1,"response":{"token":"b"}})", invalid);
        row("nothing", 200, R"({"response":{}})", invalid);
        row("array", 200, "[]", invalid);
        row("refusal", 403, R"({"errors":[{"code":"x","message":"No."}]})", "No.");
        row("redirect", 302, R"({"token":"a"})",
            "The sign-in service answered with HTTP status 302. Try again in a moment.");
    }
    void devBrowserAnswers() {
        const auto [status, body, stored] = currentRow<int, QByteArray, QString>();
        IdentityFixture f(developmentKey);
        f.http.answer(status, body);
        f.http.answer(200);
        const auto failure = failureOf(f.client->signOut("a", std::nullopt));
        const auto token = f.keychain.get(devBrowserItem);
        QCOMPARE(token ? token->reveal() : failure, stored);
        QCOMPARE(f.http.requests().size(), token ? 2 : 1);
    }

    void aStoredDevBrowserTokenServesAgain() {
        IdentityFixture f(developmentKey);
        const auto query = [&] {
            f.http.answer(200);
            ::waitFor(f.client->signOut("a", std::nullopt));
            return f.http.requests().last().url.query();
        };
        // Launched on a locked store, unlocked later.
        f.put("clerk_dev_browser_jwt", "kept");
        f.store.setCondition(platform::SecretStore::Status::locked);
        f.launch(developmentKey);
        f.store.setCondition(platform::SecretStore::Status::ok);
        QCOMPARE(query(), "__clerk_db_jwt=kept");
        QCOMPARE(f.http.requests().size(), 1);
        f.client->clearDevBrowserToken();
        QVERIFY(!f.keychain.get(devBrowserItem));
        f.http.answer(200, R"({"token":"fresh"})");
        QCOMPARE(query(), "__clerk_db_jwt=fresh");
    }

    void refusalsKeepTheirKind() {
        IdentityFixture f;
        const auto attempt = [&] { return f.client->createSignIn("a@b.c"); };
        f.http.answer(422, R"({"errors":[]})");
        QVERIFY_EXCEPTION_THROWN(::waitFor(attempt()), ClerkAPIError);
        f.http.fail(platform::HttpError::Kind::timedOut);
        QVERIFY_EXCEPTION_THROWN(::waitFor(attempt()), platform::HttpError);
        const auto kindOf = [](auto task) -> std::optional<ClerkClient::Error::Kind> {
            try {
                ::waitFor(std::move(task));
            } catch (const ClerkClient::Error& error) {
                return error.kind();
            }
            return std::nullopt;
        };
        f.http.answer(502, "<html>");
        QCOMPARE(kindOf(attempt()), ClerkClient::Error::http);
        f.http.answer(200, R"({"response":{"id":"a","status":"unknown"}})");
        QCOMPARE(kindOf(attempt()), ClerkClient::Error::decoding);
        f.http.answer(200, R"({"response":{"jwt":"j"}})");
        QCOMPARE(kindOf(f.client->createSessionToken("a", std::nullopt)), ClerkClient::Error::decoding);
        f.http.fail(platform::HttpError::Kind::notHttp);
        QCOMPARE(kindOf(attempt()), ClerkClient::Error::invalidResponse);
    }

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

    void readsThePublishableKey_data() {
        const auto row = rows<QString, QString>();
        // "a.example$" encodes with padding "==", "ab.example$" with "=", "abc.example$" with none.
        row("no padding left out", test("YWJjLmV4YW1wbGUk"), "https://abc.example");
        row("padding 1 left out", test("YWIuZXhhbXBsZSQ"), "https://ab.example");
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
};

QTEST_GUILESS_MAIN(ClerkClientTest)
#include "ClerkClientTest.moc"
