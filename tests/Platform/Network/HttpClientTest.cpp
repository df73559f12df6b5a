#include "HttpClient.h"
#include "Completion.h"
#include "RawServer.h"
#include "TestCertificates.h"
#include "WaitFor.h"

#include <QElapsedTimer>
#include <QTest>

using platform::HttpClient;
using platform::HttpError;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::HttpSessionKind;
using namespace std::chrono_literals;

namespace {

HttpRequest post(const QUrl& url, QList<platform::HttpHeader> headers = {},
                 std::optional<QByteArray> body = {}) {
    return {.method = "POST", .url = url, .headers = std::move(headers), .body = std::move(body)};
}

HttpError failureOf(HttpClient& client, HttpRequest request) {
    try {
        const auto response = ::waitFor(client.execute(std::move(request)));
        return HttpError(HttpError::Kind::other, QStringLiteral("an answer: %1").arg(response.status));
    } catch (const HttpError& error) {
        return error;
    }
}

QStringList valuesOf(const HttpResponse& response, const QByteArray& name) {
    QStringList values;
    for (const auto& header : response.headers) {
        if (header.name.toLower() == name) {
            values.append(QString::fromLatin1(header.value));
        }
    }
    return values;
}

} // namespace

class HttpClientTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aRequestLeavesAsGiven_data();
    void aRequestLeavesAsGiven();
    void aHeaderCannotSmuggleAnother();
    void anAnswerComesBackWhole();
    void cookiesStayOutOfAnEphemeralSession();
    void cookiesOfASharedSessionComeBack();
    void statusesThatAreAnswers_data();
    void statusesThatAreAnswers();
    void aRequestIsSentOnceWhenTheConnectionEnds();
    void boundsOnTheBody_data();
    void boundsOnTheBody();
    void aSilentServerTimesOut();
    void failuresReadAsWhatTheyAre_data();
    void failuresReadAsWhatTheyAre();
    void certificates_data();
    void certificates();
    void theProxyIsLookedUpForEachRequest();
    void destroyingTheClientEndsTheWait();
};

void HttpClientTest::aRequestLeavesAsGiven_data() {
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("body"); // null: none
    QTest::newRow("no body, no query") << QByteArray("/v1/dev_browser") << QByteArray() << QByteArray();
    QTest::newRow("no body, but a query")
        << QByteArray("/v1/client?__clerk_db_jwt=a.b-c_d~e%2B%2F%3D") << QByteArray() << QByteArray();
    QTest::newRow("empty form") << QByteArray("/v1/client/sessions/s/tokens?x=1%262")
                                << QByteArray("application/x-www-form-urlencoded") << QByteArray("");
    QTest::newRow("form") << QByteArray("/v1/client") << QByteArray("application/x-www-form-urlencoded")
                          << QByteArray("identifier=a%2Bb%40c.de&strategy=email_code");
    QTest::newRow("body without a type") << QByteArray("/x") << QByteArray() << QByteArray("raw");
}

void HttpClientTest::aRequestLeavesAsGiven() {
    QFETCH(QByteArray, target);
    QFETCH(QByteArray, contentType);
    QFETCH(QByteArray, body);
    RawServer server;
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    QList<platform::HttpHeader> headers{{"Clerk-Publishable-Key", "pk_test_abc$"},
                                        {"Cookie", "__client=t.o=k; odd"}};
    if (!contentType.isNull()) {
        headers.append({"Content-Type", contentType});
    }
    ::waitFor(client->execute(post(server.url(QStringLiteral("http"), target), headers,
                                   body.isNull() ? std::nullopt : std::optional(body))));
    QCOMPARE(server.requests.size(), 1);
    const auto request = server.requests.first();
    QVERIFY2(request.startsWith("POST " + target + " HTTP/1.1\r\n"), request);
    QCOMPARE(request.mid(request.indexOf("\r\n\r\n") + 4), body);
    QVERIFY2(request.contains("\r\nClerk-Publishable-Key: pk_test_abc$\r\n"), request);
    QVERIFY2(request.contains("\r\nCookie: __client=t.o=k; odd\r\n"), request);
    QCOMPARE(headerOf(request, "content-length"), QByteArray::number(body.size()));
    QCOMPARE(headerOf(request, "content-type").value_or(QByteArray()), contentType);
    const QSet<QByteArray> allowed{"host",         "content-length",  "connection",
                                   "user-agent",   "accept-encoding", "accept-language",
                                   "content-type", "cookie",          "clerk-publishable-key"};
    for (const auto& name : headerNamesOf(request)) {
        QVERIFY2(allowed.contains(name), name + " was added");
    }
}

void HttpClientTest::aHeaderCannotSmuggleAnother() {
    RawServer server;
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    for (const QByteArray value : {"a\r\nX-Evil: 1", "a\nX-Evil: 1", "a\r"}) {
        QVERIFY_EXCEPTION_THROWN(
            ::waitFor(client->execute(post(server.url(QStringLiteral("http"), "/"), {{"Cookie", value}}))),
            platform::HttpError);
    }
    QVERIFY(server.requests.isEmpty());
}

void HttpClientTest::anAnswerComesBackWhole() {
    RawServer server;
    server.reply = "HTTP/1.1 201 Created\r\nSet-Cookie: __client=one; Path=/; Expires=Wed, 01 Jan 2031 "
                   "00:00:00 GMT\r\nAuthorization: Bearer abc\r\nset-cookie: other=two\r\n"
                   "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    const auto url = server.url(QStringLiteral("http"), "/v1/x?y=z");
    const auto response = ::waitFor(client->execute(post(url)));
    QCOMPARE(response.status, 201);
    QCOMPARE(response.url, url);
    QCOMPARE(response.body, QByteArray("abcde"));
    QCOMPARE(response.header("AUTHORIZATION"), QByteArray("Bearer abc"));
    QCOMPARE(response.header("x-none"), std::nullopt);
    QCOMPARE(valuesOf(response, "set-cookie"),
             (QStringList{QStringLiteral("__client=one; Path=/; Expires=Wed, 01 Jan 2031 00:00:00 GMT"),
                          QStringLiteral("other=two")}));
}

void HttpClientTest::cookiesStayOutOfAnEphemeralSession() {
    RawServer server;
    server.reply = "HTTP/1.1 200 OK\r\nSet-Cookie: sticky=1; Path=/\r\nContent-Length: 0\r\n\r\n";
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    for (int i = 0; i < 2; ++i) {
        ::waitFor(client->execute(post(server.url(QStringLiteral("http")))));
        QCOMPARE(headerOf(server.requests.last(), "cookie"), std::nullopt);
    }
}

void HttpClientTest::cookiesOfASharedSessionComeBack() {
    RawServer server;
    server.reply = "HTTP/1.1 200 OK\r\nSet-Cookie: sticky=1; Path=/\r\nContent-Length: 0\r\n\r\n";
    const auto client = platform::makeHttpClient(HttpSessionKind::shared);
    for (int i = 0; i < 2; ++i) {
        ::waitFor(client->execute(post(server.url(QStringLiteral("http")))));
    }
    QCOMPARE(headerOf(server.requests.at(0), "cookie"), std::nullopt);
    QCOMPARE(headerOf(server.requests.at(1), "cookie"), QByteArray("sticky=1"));
    const auto other = platform::makeHttpClient(HttpSessionKind::shared);
    ::waitFor(other->execute(post(server.url(QStringLiteral("http")))));
    QCOMPARE(headerOf(server.requests.at(2), "cookie"), std::nullopt);
}

void HttpClientTest::statusesThatAreAnswers_data() {
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<int>("status");
    QTest::newRow("redirect") << QByteArray("302 Found\r\nLocation: /elsewhere") << 302;
    QTest::newRow("permanent redirect")
        << QByteArray("308 Permanent\r\nLocation: http://localhost:1/") << 308;
    QTest::newRow("password asked for")
        << QByteArray("401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"") << 401;
    QTest::newRow("refused") << QByteArray("403 Forbidden") << 403;
    QTest::newRow("conflict") << QByteArray("409 Conflict") << 409;
    QTest::newRow("unprocessable") << QByteArray("422 Unprocessable Entity") << 422;
    QTest::newRow("server error") << QByteArray("500 Internal Server Error") << 500;
    QTest::newRow("gateway") << QByteArray("502 Bad Gateway\r\nContent-Type: text/html") << 502;
    QTest::newRow("unavailable") << QByteArray("503 Service Unavailable\r\nRetry-After: 1") << 503;
}

void HttpClientTest::statusesThatAreAnswers() {
    QFETCH(QByteArray, head);
    QFETCH(int, status);
    RawServer server;
    server.reply = "HTTP/1.1 " + head + "\r\nContent-Length: 4\r\n\r\nbody";
    const auto client = platform::makeHttpClient(HttpSessionKind::shared);
    auto url = server.url(QStringLiteral("http"));
    url.setUserInfo(QStringLiteral("user:password"));
    const auto response = ::waitFor(client->execute(post(url, {{"Authorization", "Bearer jwt"}}, "{}")));
    QCOMPARE(response.status, status);
    QCOMPARE(response.body, QByteArray("body"));
    QTest::qWait(20); // a redirect or a second try would come by now
    QCOMPARE(server.requests.size(), 1);
    QCOMPARE(headerOf(server.requests.first(), "authorization"), QByteArray("Bearer jwt"));
}

void HttpClientTest::aRequestIsSentOnceWhenTheConnectionEnds() {
    RawServer server;
    server.reply = {};
    server.closeAfterReply = true;
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    const auto error =
        failureOf(*client, post(server.url(QStringLiteral("http")), {}, "strategy=email_code"));
    QCOMPARE(error.kind(), HttpError::Kind::connectionLost);
    QCOMPARE(server.requests.size(), 1);
}

void HttpClientTest::boundsOnTheBody_data() {
    QTest::addColumn<QByteArray>("framing");
    QTest::addColumn<int>("bytes");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("announced, exact") << QByteArray("Content-Length: 1000\r\n\r\n") << 1000 << true;
    QTest::newRow("announced, too long, never sent")
        << QByteArray("Content-Length: 90000000000\r\n\r\n") << 0 << false;
    QTest::newRow("up to the end, exact") << QByteArray("Connection: close\r\n\r\n") << 1000 << true;
    QTest::newRow("up to the end, too long") << QByteArray("Connection: close\r\n\r\n") << 1001 << false;
}

void HttpClientTest::boundsOnTheBody() {
    QFETCH(QByteArray, framing);
    QFETCH(int, bytes);
    QFETCH(bool, accepted);
    RawServer server;
    server.reply = "HTTP/1.1 200 OK\r\n" + framing + QByteArray(bytes, 'x');
    server.closeAfterReply = bytes > 0;
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    auto request = post(server.url(QStringLiteral("http")));
    request.maxBodyBytes = 1000;
    if (accepted) {
        QCOMPARE(::waitFor(client->execute(request)).body.size(), bytes);
    } else {
        QCOMPARE(failureOf(*client, request).kind(), HttpError::Kind::tooLarge);
    }
}

void HttpClientTest::aSilentServerTimesOut() {
    RawServer server;
    server.onRequest = [](QSslSocket* socket, const QByteArray&) { socket->write("HTTP/1.1 200 OK\r\n"); };
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    auto request = post(server.url(QStringLiteral("http")));
    request.timeout = 100ms;
    QElapsedTimer timer;
    timer.start();
    const auto error = failureOf(*client, request);
    QCOMPARE(error.kind(), HttpError::Kind::timedOut);
    QCOMPARE(QString::fromStdString(error.what()), QStringLiteral("localhost did not answer in time."));
    QVERIFY(timer.elapsed() >= 100);
}

void HttpClientTest::failuresReadAsWhatTheyAre_data() {
    QTest::addColumn<QByteArray>("reply"); // null: nobody listens
    QTest::addColumn<QByteArray>("proxy");
    QTest::addColumn<HttpError::Kind>("kind");
    QTest::addColumn<QString>("text");
    using Kind = HttpError::Kind;
    QTest::newRow("nobody listens") << QByteArray() << QByteArray() << Kind::cannotConnect
                                    << QStringLiteral("Could not connect to localhost: Connection refused.");
    QTest::newRow("proxy is gone") << QByteArray("-") << QByteArray("http://localhost:1") << Kind::proxyFailed
                                   << QStringLiteral("The proxy localhost failed: Connection refused.");
    QTest::newRow("body cut off") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc")
                                  << QByteArray() << Kind::connectionLost
                                  << QStringLiteral("The connection to localhost was lost.");
}

void HttpClientTest::failuresReadAsWhatTheyAre() {
    QFETCH(QByteArray, reply);
    QFETCH(QByteArray, proxy);
    QFETCH(QString, text);
    QFETCH(HttpError::Kind, kind);
    RawServer server;
    server.reply = reply;
    server.closeAfterReply = true;
    if (reply.isNull()) {
        server.close();
    }
    const auto url =
        reply.isNull() ? QUrl(QStringLiteral("http://localhost:1/")) : server.url(QStringLiteral("http"));
    const EnvironmentOverride proxyVariable("http_proxy", proxy);
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    const auto error = failureOf(*client, post(url));
    QVERIFY2(QString::fromStdString(error.what()).startsWith(text), error.what());
    QCOMPARE(error.kind(), kind);
}

void HttpClientTest::certificates_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("past");
    QTest::addColumn<bool>("known");
    QTest::addColumn<QString>("refusal"); // empty: accepted
    const auto localhost = QStringLiteral("localhost");
    QTest::newRow("good") << localhost << false << true << QString();
    QTest::newRow("unknown authority") << localhost << false << false << QStringLiteral("issuer certificate");
    QTest::newRow("another host's") << QStringLiteral("other.example") << false << true
                                    << QStringLiteral("host name");
    QTest::newRow("expired") << localhost << true << true << QStringLiteral("expired");
}

void HttpClientTest::certificates() {
    QFETCH(QString, name);
    QFETCH(bool, past);
    QFETCH(bool, known);
    QFETCH(QString, refusal);
    const TestCertificates certificates;
    const TestCertificates others;
    const EnvironmentOverride roots("SSL_CERT_FILE",
                                    (known ? certificates : others).authorityFile().toLocal8Bit());
    RawServer server(certificates.server({name}, past ? TestCertificates::Validity::past
                                                      : TestCertificates::Validity::now));
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    const auto request = post(server.url(QStringLiteral("https")));
    if (refusal.isEmpty()) {
        QCOMPARE(::waitFor(client->execute(request)).status, 200);
        return;
    }
    const auto error = failureOf(*client, request);
    QCOMPARE(error.kind(), HttpError::Kind::tlsFailed);
    const auto text = QString::fromStdString(error.what());
    QVERIFY2(text.startsWith(QStringLiteral("The certificate of localhost cannot be trusted: ")),
             error.what());
    QVERIFY2(text.contains(refusal), error.what());
    QCOMPARE(server.requests.size(), 0);
}

void HttpClientTest::theProxyIsLookedUpForEachRequest() {
    RawServer server;
    RawServer proxy;
    const auto client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    const auto url = QUrl(QStringLiteral("http://elsewhere.example/x"));
    const EnvironmentOverride first("http_proxy", "http://" + server.authority().toLatin1());
    ::waitFor(client->execute(post(url)));
    QCOMPARE(server.requests.size(), 1);
    QVERIFY2(server.requests.first().startsWith("POST http://elsewhere.example/x HTTP/1.1\r\n"),
             server.requests.first());
    const EnvironmentOverride second("http_proxy", "http://" + proxy.authority().toLatin1());
    ::waitFor(client->execute(post(url)));
    QCOMPARE(proxy.requests.size(), 1);
    QCOMPARE(server.requests.size(), 1);
    const EnvironmentOverride exception("no_proxy", "localhost");
    ::waitFor(client->execute(post(server.url(QStringLiteral("http")))));
    QCOMPARE(server.requests.size(), 2);
}

void HttpClientTest::destroyingTheClientEndsTheWait() {
    RawServer server;
    server.onRequest = [](QSslSocket*, const QByteArray&) {};
    auto client = platform::makeHttpClient(HttpSessionKind::shared);
    auto task = client->execute(post(server.url(QStringLiteral("http"))));
    QVERIFY(waitUntil([&] { return !server.requests.isEmpty(); }));
    client.reset();
    QVERIFY(!task.isReady()); // never resumed from inside the destructor
    QVERIFY_THROWS_EXCEPTION(platform::OperationCancelled, ::waitFor(std::move(task)));
}

QTEST_GUILESS_MAIN(HttpClientTest)
#include "HttpClientTest.moc"
