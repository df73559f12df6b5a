#include "IdentityFixture.h"
#include "Rows.h"

using platform::Secret;

namespace {

const QByteArray signInAnswer = R"({"response":{"id":"sia_1","status":"needs_first_factor"}})";

// A request as it leaves: request line, headers, blank line, body.
QByteArray wire(const platform::HttpRequest& request) {
    auto text = request.method + ' ' + request.url.toEncoded() + '\n';
    for (const auto& header : request.headers) {
        text += header.name + ": " + header.value + '\n';
    }
    return text + '\n' + request.body.value_or("(no body)");
}

enum class Call { createSignIn, prepareFirstFactor, attemptFirstFactor, createSessionToken, signOut };

// The client token that the call gave, or "none".
QString outcome(ClerkClient& client, Call call, const QString& id, std::optional<Secret> token) {
    std::optional<Secret> result;
    switch (call) {
    case Call::createSignIn:
        result = ::waitFor(client.createSignIn(id)).clientToken;
        break;
    case Call::prepareFirstFactor:
        result = ::waitFor(client.prepareFirstFactor(id, "idn_1", token)).clientToken;
        break;
    case Call::attemptFirstFactor:
        result = ::waitFor(client.attemptFirstFactor(id, Secret("42 42"), token)).clientToken;
        break;
    case Call::createSessionToken:
        result = ::waitFor(client.createSessionToken(id, token));
        break;
    case Call::signOut:
        ::waitFor(client.signOut(id, token));
    }
    return result ? result->reveal() : "none";
}

} // namespace

class ClerkClientTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyRequestHasItsExactShape_data() {
        const auto row = rows<Call, QString, QByteArray, QByteArray>();
        row("create", Call::createSignIn, "é+x_y-z.~@b.c d", "sign_ins",
            "identifier=%C3%A9%2Bx_y-z.~%40b.c%20d&strategy=email_code");
        row("prepare", Call::prepareFirstFactor, "sia_1", "sign_ins/sia_1/prepare_first_factor",
            "strategy=email_code&email_address_id=idn_1");
        row("attempt", Call::attemptFirstFactor, "sia_1", "sign_ins/sia_1/attempt_first_factor",
            "strategy=email_code&code=42%2042");
        row("sign out", Call::signOut, "sess_1", "sessions/sess_1/remove", "");
        row("token, hostile id", Call::createSessionToken, "../a/b?c#d%2Fe",
            "sessions/..%2Fa%2Fb%3Fc%23d%252Fe/tokens", "");
    }
    void everyRequestHasItsExactShape() {
        const auto [call, id, path, body] = currentRow<Call, QString, QByteArray, QByteArray>();
        const auto answer = call == Call::createSessionToken ? tokenBody("j.w.t") : signInAnswer;
        const QByteArray cookie = call == Call::createSignIn ? "" : "Cookie: __client=ct\n";
        for (const bool development : {false, true}) {
            const auto key = development ? developmentKey : productionKey;
            const auto keyLine = "Clerk-Publishable-Key: " + key.toLatin1() + '\n';
            IdentityFixture f(key);
            if (development) {
                f.http.answer(200, R"({"token":"a+b&c=d\u0023é"})");
            }
            f.http.answer(200, answer);
            outcome(*f.client, call, id, Secret("ct"));
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

    void anEmptyClientTokenSendsNoCookie() {
        IdentityFixture f;
        for (const auto& token : {std::optional<Secret>(), std::optional(Secret())}) {
            f.http.answer(200);
            ::waitFor(f.client->signOut("sess_1", token));
            QVERIFY(!headerOf(f.http.requests().last(), "Cookie"));
        }
    }

    void theResultHasTheTokenOfItsAnswer() {
        for (const auto call : {Call::createSignIn, Call::prepareFirstFactor, Call::attemptFirstFactor}) {
            IdentityFixture f;
            const Secret old("old");
            f.http.answer(200, signInAnswer, {{"Set-Cookie", "__client=new; Path=/"}});
            QCOMPARE(outcome(*f.client, call, "a", old), "new");
            f.http.answer(200, signInAnswer);
            QCOMPARE(outcome(*f.client, call, "a", old), call == Call::createSignIn ? "none" : "old");
        }
    }

    void devBrowserAnswers_data() {
        const auto row = rows<int, QByteArray, QString>();
        const auto invalid = QStringLiteral("The sign-in service gave an invalid answer.");
        row("plain", 200, R"({"response":{"token":"b"},"token":"a"})", "a");
        row("wrapped", 200, R"({"response":{"token":"b"}})", "b");
        row("number", 200, R"({"token":1,"response":{"token":"b"}})", invalid);
        row("nothing", 200, R"({"response":{}})", invalid);
        row("text", 200, R"({"response":"token"})", invalid);
        row("array", 200, "[]", invalid);
        row("refusal", 403, R"({"errors":[{"code":"x","message":"No."}]})", "No.");
        row("redirect", 302, R"({"token":"a"})", "The sign-in service answered with HTTP status 302.");
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

    void aClientThatDiesWhileItWaitsIsNotTouched() {
        IdentityFixture f(developmentKey);
        f.http.answer(200, R"({"token":"late"})");
        f.http.setHeld(true);
        auto task = f.client->signOut("a", std::nullopt);
        f.auth.reset();
        f.client.reset();
        f.http.setHeld(false);
        QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(task)), platform::OperationCancelled);
        QVERIFY(!f.keychain.get(devBrowserItem));
    }
};

QTEST_GUILESS_MAIN(ClerkClientTest)
#include "ClerkClientTest.moc"
