#include "IdentityFixture.h"

#include <QTest>

using platform::Secret;

namespace {

const QByteArray signInAnswer = R"({"response":{"id":"sia_1","status":"needs_first_factor"}})";
const QByteArray keyHeader = "Clerk-Publishable-Key: ";
const QByteArray formHeader = "Content-Type: application/x-www-form-urlencoded\n";

// A request as it leaves: request line, headers, blank line, body.
QByteArray wire(const platform::HttpRequest& request) {
    auto text = request.method + ' ' + request.url.toEncoded() + '\n';
    for (const auto& header : request.headers) {
        text += header.name + ": " + header.value + '\n';
    }
    return text + '\n' + request.body.value_or("(no body)");
}

enum class Call { createSignIn, prepareFirstFactor, attemptFirstFactor, createSessionToken, signOut };

// The client token that the call gave, or "none", or what it threw.
QString outcome(ClerkClient& client, Call call, const QString& id, std::optional<Secret> token) {
    try {
        std::optional<Secret> result;
        switch (call) {
        case Call::createSignIn:
            result = ::waitFor(client.createSignIn(id)).clientToken;
            break;
        case Call::prepareFirstFactor:
            result = ::waitFor(client.prepareFirstFactor(id, QStringLiteral("idn_1"), token)).clientToken;
            break;
        case Call::attemptFirstFactor:
            result =
                ::waitFor(client.attemptFirstFactor(id, Secret(QStringLiteral("42 42")), token)).clientToken;
            break;
        case Call::createSessionToken:
            result = ::waitFor(client.createSessionToken(id, token));
            break;
        case Call::signOut:
            ::waitFor(client.signOut(id, token));
        }
        return result ? result->reveal() : QStringLiteral("none");
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    }
}

} // namespace

Q_DECLARE_METATYPE(Call)

class ClerkClientTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyRequestHasItsExactShape_data() {
        QTest::addColumn<Call>("call");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<bool>("sendsToken");
        QTest::addColumn<QByteArray>("body");
        const auto row = [](const char* name, Call call, const char* id, const char* path, bool token,
                            const char* body) {
            QTest::newRow(name) << call << QString::fromUtf8(id) << QByteArray(path) << token
                                << QByteArray(body);
        };
        row("create", Call::createSignIn, "é+x_y-z.~@b.c d", "/v1/client/sign_ins", false,
            "identifier=%C3%A9%2Bx_y-z.~%40b.c%20d&strategy=email_code");
        row("prepare", Call::prepareFirstFactor, "sia_1", "/v1/client/sign_ins/sia_1/prepare_first_factor",
            true, "strategy=email_code&email_address_id=idn_1");
        row("attempt", Call::attemptFirstFactor, "sia_1", "/v1/client/sign_ins/sia_1/attempt_first_factor",
            true, "strategy=email_code&code=42%2042");
        row("token", Call::createSessionToken, "sess_1", "/v1/client/sessions/sess_1/tokens", true, "");
        row("sign out", Call::signOut, "sess_1", "/v1/client/sessions/sess_1/remove", true, "");
        row("hostile id", Call::createSessionToken, "../a/b?c#d%2Fe",
            "/v1/client/sessions/..%2Fa%2Fb%3Fc%23d%252Fe/tokens", true, "");
    }
    void everyRequestHasItsExactShape() {
        QFETCH(Call, call);
        QFETCH(QString, id);
        QFETCH(QByteArray, path);
        QFETCH(bool, sendsToken);
        QFETCH(QByteArray, body);
        const auto answer = call == Call::createSessionToken ? tokenBody("j.w.t") : signInAnswer;
        const auto expected = [&](const QString& key, const QByteArray& query) {
            return "POST https://a.example" + path + query + '\n' + keyHeader + key.toLatin1() + '\n' +
                   formHeader + (sendsToken ? "Cookie: __client=ct\n" : "") + '\n' + body;
        };

        IdentityFixture production;
        production.http.answer(200, answer);
        outcome(*production.client, call, id, Secret(QStringLiteral("ct")));
        QCOMPARE(production.http.requests().size(), 1);
        QCOMPARE(wire(production.http.requests().at(0)), expected(productionKey, ""));

        IdentityFixture development(developmentKey);
        development.http.answer(200, R"({"token":"a+b&c=d\u0023é"})");
        development.http.answer(200, answer);
        outcome(*development.client, call, id, Secret(QStringLiteral("ct")));
        QCOMPARE(development.http.requests().size(), 2);
        QCOMPARE(wire(development.http.requests().at(0)), "POST https://a.example/v1/dev_browser\n" +
                                                              keyHeader + developmentKey.toLatin1() +
                                                              "\n\n(no body)");
        QCOMPARE(wire(development.http.requests().at(1)),
                 expected(developmentKey, "?__clerk_db_jwt=a%2Bb%26c%3Dd%23%C3%A9"));
        QCOMPARE(development.http.requests().at(1).timeout, std::chrono::seconds(60));
    }

    void anIdOfDotsIsNoPath() {
        IdentityFixture f;
        for (const auto* id : {".", ".."}) {
            QVERIFY(!failureOf(f.client->signOut(QString::fromLatin1(id), std::nullopt)).isEmpty());
        }
        QVERIFY(f.http.requests().isEmpty());
    }

    void anEmptyClientTokenSendsNoCookie() {
        IdentityFixture f;
        for (const auto& token : {std::optional<Secret>(), std::optional(Secret())}) {
            f.http.answer(200);
            ::waitFor(f.client->signOut(QStringLiteral("sess_1"), token));
            QVERIFY(!headerOf(f.http.requests().last(), "Cookie"));
        }
    }

    void theResultHasTheTokenOfItsAnswer_data() {
        QTest::addColumn<Call>("call");
        QTest::addColumn<QString>("without");
        QTest::newRow("create") << Call::createSignIn << QStringLiteral("none");
        QTest::newRow("prepare") << Call::prepareFirstFactor << QStringLiteral("old");
        QTest::newRow("attempt") << Call::attemptFirstFactor << QStringLiteral("old");
    }
    void theResultHasTheTokenOfItsAnswer() {
        QFETCH(Call, call);
        IdentityFixture f;
        const Secret old(QStringLiteral("old"));
        f.http.answer(200, signInAnswer, {{"Set-Cookie", "__client=new; Path=/"}});
        QCOMPARE(outcome(*f.client, call, QStringLiteral("a"), old), QStringLiteral("new"));
        f.http.answer(200, signInAnswer);
        QTEST(outcome(*f.client, call, QStringLiteral("a"), old), "without");
    }

    void devBrowserAnswers_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("stored");
        const auto row = [](const char* body, const char* stored, int status = 200) {
            QTest::newRow(body) << status << QByteArray(body) << QString::fromLatin1(stored);
        };
        row(R"({"token":"a"})", "a");
        row(R"({"response":{"token":"b"}})", "b");
        row(R"({"response":{"token":"b"},"token":"a"})", "a");
        row(R"({"token":1,"response":{"token":"b"}})", "The sign-in service gave an invalid answer.");
        row(R"({"response":{}})", "The sign-in service gave an invalid answer.");
        row(R"({"response":"token"})", "The sign-in service gave an invalid answer.");
        row("[]", "The sign-in service gave an invalid answer.");
        row(R"({"errors":[{"code":"x","message":"No."}]})", "No.", 403);
        row(R"({"token":"a"})", "The sign-in service answered with HTTP status 302.", 302);
    }
    void devBrowserAnswers() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        IdentityFixture f(developmentKey);
        f.http.answer(status, body);
        f.http.answer(200);
        const auto failure = failureOf(f.client->signOut(QStringLiteral("a"), std::nullopt));
        const auto token = f.keychain.get(devBrowserItem);
        QTEST(token ? token->reveal() : failure, "stored");
        QCOMPARE(f.http.requests().size(), token ? 2 : 1);
    }

    void aDevBrowserAnswerThatIsNoJsonGoesToTheCaller() {
        IdentityFixture f(developmentKey);
        f.http.answer(200, "<html>");
        QVERIFY_EXCEPTION_THROWN(::waitFor(f.client->signOut(QStringLiteral("a"), std::nullopt)),
                                 json::DecodingError);
    }

    void aStoredDevBrowserTokenServesAgain() {
        IdentityFixture f(developmentKey);
        const auto query = [&] {
            f.http.clearRequests();
            f.http.answer(200);
            ::waitFor(f.client->signOut(QStringLiteral("a"), std::nullopt));
            return f.http.requests().last().url.query();
        };
        f.put("clerk_dev_browser_jwt", "kept");
        f.launch(developmentKey);
        QCOMPARE(query(), QStringLiteral("__clerk_db_jwt=kept"));
        QCOMPARE(f.http.requests().size(), 1);

        // Launched on a locked store, unlocked later.
        f.store.setCondition(platform::SecretStore::Status::locked);
        f.launch(developmentKey);
        f.store.setCondition(platform::SecretStore::Status::ok);
        QCOMPARE(query(), QStringLiteral("__clerk_db_jwt=kept"));

        f.client->clearDevBrowserToken();
        QVERIFY(!f.keychain.get(devBrowserItem));
        f.http.answer(200, R"({"token":"fresh"})");
        QCOMPARE(query(), QStringLiteral("__clerk_db_jwt=fresh"));
    }

    void refusalsKeepTheirKind() {
        IdentityFixture f;
        const auto attempt = [&] { return f.client->createSignIn(QStringLiteral("a@b.c")); };
        f.http.answer(422, R"({"errors":[]})");
        QVERIFY_EXCEPTION_THROWN(::waitFor(attempt()), ClerkAPIError);
        f.http.answer(422, R"({"errors":[{"code":"x","message":"first"},{"code":"y","message":"second"}]})");
        QCOMPARE(failureOf(attempt()), QStringLiteral("first"));
        f.http.fail(platform::HttpError::Kind::timedOut);
        QVERIFY_EXCEPTION_THROWN(::waitFor(attempt()), platform::HttpError);

        const auto clientError = [&](const QByteArray& call) -> std::optional<ClerkClient::Error> {
            try {
                if (call == "token") {
                    ::waitFor(f.client->createSessionToken(QStringLiteral("a"), std::nullopt));
                } else {
                    ::waitFor(attempt());
                }
            } catch (const ClerkClient::Error& error) {
                return error;
            }
            return std::nullopt;
        };
        f.http.answer(502, "<html>");
        const auto http = clientError("create");
        QVERIFY(http && http->kind() == ClerkClient::Error::http);
        QCOMPARE(http->status(), 502);
        QCOMPARE(http->body(), "<html>");
        f.http.answer(200, R"({"response":{"id":"a","status":"unknown"}})");
        const auto decoding = clientError("create");
        QVERIFY(decoding && decoding->kind() == ClerkClient::Error::decoding);
        QVERIFY_EXCEPTION_THROWN(std::rethrow_exception(decoding->underlying()), json::DecodingError);
        f.http.answer(200, R"({"response":{"jwt":"j"}})");
        QCOMPARE(clientError("token")->kind(), ClerkClient::Error::decoding);
        f.http.fail(platform::HttpError::Kind::notHttp);
        QCOMPARE(clientError("create")->kind(), ClerkClient::Error::invalidResponse);
    }

    void aClientThatDiesWhileItWaitsIsNotTouched() {
        IdentityFixture f(developmentKey);
        f.http.answer(200, R"({"token":"late"})");
        f.http.setHeld(true);
        auto task = f.client->signOut(QStringLiteral("a"), std::nullopt);
        f.auth.reset();
        f.client.reset();
        f.http.setHeld(false);
        QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(task)), platform::OperationCancelled);
        QVERIFY(!f.keychain.get(devBrowserItem));
    }
};

QTEST_GUILESS_MAIN(ClerkClientTest)
#include "ClerkClientTest.moc"
