#include "Platform/Network/HttpClient.h"
#include "Platform/Core/Completion.h"
#include "tests/Platform/Network/TestCertificates.h"
#include "tests/Support/WaitFor.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

using platform::HttpError;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::HttpSessionKind;
using Kind = HttpError::Kind;

namespace {

HttpRequest post(const QUrl& url, QList<platform::HttpHeader> headers = {},
                 std::optional<QByteArray> body = {}) {
    return {.method = "POST", .url = url, .headers = std::move(headers), .body = std::move(body)};
}

} // namespace

class HttpClientTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_server.emplace();
        m_client = platform::makeHttpClient(HttpSessionKind::ephemeral);
    }

    void aRequestLeavesAsGiven_data() {
        const auto row = rows<QByteArray, QByteArray, QByteArray>();
        row("no body, but a query", "/v1/client?__clerk_db_jwt=a.b-c_d~e%2B%2F%3D", {}, {});
        row("empty form", "/v1/client/sessions/s/tokens?x=1%262", "application/x-www-form-urlencoded", "");
        row("form", "/v1/client", "application/x-www-form-urlencoded",
            "identifier=a%2Bb%40c.de&strategy=email_code");
        row("body without a type", "/x", {}, "raw");
    }
    void aRequestLeavesAsGiven() {
        const auto [target, contentType, body] = currentRow<QByteArray, QByteArray, QByteArray>();
        QList<platform::HttpHeader> headers{{"Clerk-Publishable-Key", "pk_test_abc$"},
                                            {"Cookie", "__client=t.o=k; odd"}};
        if (!contentType.isNull()) {
            headers.append({"Content-Type", contentType});
        }
        execute(post(url(target), headers, body.isNull() ? std::nullopt : std::optional(body)));
        QCOMPARE(m_server->requests.size(), 1);
        const auto request = m_server->requests.first();
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

    void aHeaderCannotSmuggleAnother() {
        for (const QByteArray value : {"a\r\nX-Evil: 1", "a\nX-Evil: 1", "a\r"}) {
            QVERIFY_EXCEPTION_THROWN(execute(post(url(), {{"Cookie", value}})), HttpError);
        }
        QVERIFY(m_server->requests.isEmpty());
    }

    void anAnswerComesBackWhole() {
        m_server->reply = "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n"
                          "HTTP/1.1 201 Created\r\nSet-Cookie: __client=one; Path=/; Expires=Wed, 01 Jan "
                          "2031 00:00:00 GMT\r\nAuthorization: Bearer abc\r\nset-cookie: other=two\r\n"
                          "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
        const auto response = execute(post(url("/v1/x?y=z")));
        QCOMPARE(response.status, 201);
        QCOMPARE(response.url, url("/v1/x?y=z"));
        QCOMPARE(response.body, "abcde");
        QCOMPARE(response.header("AUTHORIZATION"), "Bearer abc");
        QCOMPARE(response.header("Link"), std::nullopt);
        QByteArrayList cookies;
        for (const auto& [name, value] : response.headers) {
            cookies += name.toLower() == "set-cookie" ? QByteArrayList{value} : QByteArrayList();
        }
        QCOMPARE(cookies, (QByteArrayList{"__client=one; Path=/; Expires=Wed, 01 Jan 2031 00:00:00 GMT",
                                          "other=two"}));
    }

    void cookiesStayInTheirSharedSession() {
        m_server->reply = "HTTP/1.1 200 OK\r\nSet-Cookie: sticky=1; Path=/\r\nContent-Length: 0\r\n\r\n";
        const auto shared = platform::makeHttpClient(HttpSessionKind::shared);
        const auto other = platform::makeHttpClient(HttpSessionKind::shared);
        std::vector<std::optional<QByteArray>> cookies;
        for (auto* client : {m_client.get(), m_client.get(), shared.get(), shared.get(), other.get()}) {
            ::waitFor(client->execute(post(url())));
            cookies.push_back(headerOf(m_server->requests.last(), "cookie"));
        }
        QVERIFY(cookies == (std::vector<std::optional<QByteArray>>{{}, {}, {}, "sticky=1", {}}));
    }

    void statusesThatAreAnswers_data() {
        const auto row = rows<QByteArray, int>();
        row("redirect", "302 Found\r\nLocation: /elsewhere", 302);
        row("permanent redirect", "308 Permanent\r\nLocation: http://localhost:1/", 308);
        row("refused as it is", "400 Bad Request", 400);
        row("password asked for", "401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"", 401);
        row("conflict", "409 Conflict", 409);
        row("unavailable", "503 Service Unavailable\r\nRetry-After: 1", 503);
    }
    void statusesThatAreAnswers() {
        const auto [head, status] = currentRow<QByteArray, int>();
        m_server->reply = "HTTP/1.1 " + head + "\r\nContent-Length: 4\r\n\r\nbody";
        m_client = platform::makeHttpClient(HttpSessionKind::shared);
        auto address = url();
        address.setUserInfo("user:password");
        const auto response = execute(post(address, {{"Authorization", "Bearer jwt"}}, "{}"));
        QCOMPARE(response.status, status);
        QCOMPARE(response.body, "body");
        QTest::qWait(20); // a redirect or a second try would come by now
        QCOMPARE(m_server->requests.size(), 1);
        QCOMPARE(headerOf(m_server->requests.first(), "authorization"), "Bearer jwt");
    }

    void failuresReadAsWhatTheyAre_data() {
        const auto row = rows<QByteArray, QByteArray, Kind, QString>();
        const QByteArray ok = "HTTP/1.1 200 OK\r\n";
        row("nobody listens", {}, {}, Kind::cannotConnect,
            "Could not connect to localhost: Connection refused. Check the network, then try again.");
        row("proxy is gone", "-", "http://localhost:1", Kind::proxyFailed,
            "The proxy localhost failed: Connection refused. Check the proxy in the network settings.");
        row("a proxy that nobody knows of", "HTTP/1.1 407 Proxy Auth\r\nContent-Length: 0\r\n\r\n", {},
            Kind::proxyFailed, "The proxy localhost failed: ");
        row("hangs up", "", {}, Kind::connectionLost, "The connection to localhost was lost. Try again.");
        row("body cut off", ok + "Content-Length: 10\r\n\r\nabc", {}, Kind::connectionLost,
            "The connection to localhost was lost. Try again.");
        row("too long, as announced", ok + "Content-Length: 90000000000\r\n\r\n", {}, Kind::tooLarge, "");
        row("too long", ok + "Connection: close\r\n\r\n" + QByteArray(1001, 'x'), {}, Kind::tooLarge, "");
        row("fits", ok + "Connection: close\r\n\r\n" + QByteArray(1000, 'x'), {}, Kind::other, "200");
    }
    void failuresReadAsWhatTheyAre() {
        const auto [reply, proxy, kind, text] = currentRow<QByteArray, QByteArray, Kind, QString>();
        m_server->reply = reply;
        m_server->closeAfterReply = true;
        const EnvironmentOverride proxyVariable("http_proxy", proxy);
        auto request = post(reply.isNull() ? QUrl("http://localhost:1/") : url(), {}, "strategy=email_code");
        request.maxBodyBytes = 1000;
        const auto error = failureOf(request);
        QVERIFY2(QString::fromUtf8(error.what()).startsWith(text), error.what());
        QCOMPARE(error.kind(), kind);
        // Not sent again.
        QCOMPARE(m_server->requests.size(), reply.isNull() || !proxy.isNull() ? 0 : 1);
    }

    void aSilentServerTimesOut() {
        m_server->onRequest = [](QSslSocket* socket, const QByteArray&) {
            socket->write("HTTP/1.1 200 OK\r\n");
        };
        auto request = post(url());
        request.timeout = std::chrono::milliseconds(100);
        QElapsedTimer timer;
        timer.start();
        const auto error = failureOf(request);
        QCOMPARE(error.kind(), Kind::timedOut);
        QCOMPARE(QString::fromUtf8(error.what()), "localhost did not answer in time. Try again.");
        QVERIFY(timer.elapsed() >= 100);
    }

    void aStreamLastsUntilItsEndOrASilence_data() {
        const auto row = rows<int, bool, QString>();
        row("silence", 1000, false, "localhost did not answer in time. Try again.");
        row("enough", 3, false, "");
        row("the client goes", 1000, true, "The operation was cancelled.");
    }
    void aStreamLastsUntilItsEndOrASilence() {
        const auto [wanted, clientGoes, failure] = currentRow<int, bool, QString>();
        QPointer<QSslSocket> peer;
        m_server->onRequest = [&peer](QSslSocket* socket, const QByteArray&) {
            peer = socket;
            socket->write("HTTP/1.1 200 OK\r\n\r\n");
        };
        auto request = post(url());
        request.timeout = std::chrono::milliseconds(800); // shorter than the whole
        request.maxBodyBytes = 1;
        int pieces = 0;
        auto task = m_client->stream(request, [&](const QByteArray&) { return ++pieces < wanted; });
        QVERIFY(waitUntil([&] { return !peer.isNull(); }));
        const int sent = std::min(wanted, clientGoes ? 3 : 6);
        for (int i = 1; i <= sent; ++i) {
            QTest::qWait(150);
            peer->write("x");
            QVERIFY(waitUntil([&] { return pieces == i; }));
        }
        if (clientGoes) {
            m_client.reset();
        }
        QString text;
        try {
            QCOMPARE(::waitFor(std::move(task)).body, QByteArray());
        } catch (const std::exception& error) {
            text = error.what();
        }
        QCOMPARE(text, failure);
        QCOMPARE(pieces, sent);
        QVERIFY(waitUntil([&] { return !peer; })); // the connection is not left open
    }

    void certificates_data() { TestCertificates::addRows(); }
    void certificates() {
        const auto [certificate, refusal] = currentRow<TestCertificates::Kind, QString>();
        const TestCertificates certificates;
        RawServer server(certificates.server("localhost", certificate));
        const auto error = failureOf(post(server.url("https")));
        const auto text = QString::fromUtf8(error.what());
        QCOMPARE(error.kind(), refusal.isEmpty() ? Kind::other : Kind::tlsFailed);
        QVERIFY2(
            text.startsWith(refusal.isEmpty() ? "200" : "The certificate of localhost cannot be trusted"),
            error.what());
        QVERIFY2(text.contains(refusal), error.what());
        QCOMPARE(server.requests.size(), refusal.isEmpty() ? 1 : 0);
    }

    void anOutdatedProtocolIsRefused() {
        const TestCertificates certificates;
        RawServer server(certificates.outdatedServer());
        QVERIFY(certificates.isReachable(server.serverPort()));
        QCOMPARE(failureOf(post(server.url("https"))).kind(), Kind::tlsFailed);
        QCOMPARE(server.requests.size(), 0);
    }

    void aRedirectTakesNoTokenElsewhere() {
        RawServer elsewhere;
        m_server->reply = "HTTP/1.1 307 Moved\r\nLocation: " + elsewhere.url("http").toEncoded() +
                          "\r\nContent-Length: 0\r\n\r\n";
        QCOMPARE(execute(post(url(), {{"Authorization", "Bearer jwt"}}, "{}")).status, 307);
        QVERIFY(!waitUntil([&] { return !elsewhere.requests.isEmpty(); }, 50));
    }

    void theProxyIsLookedUpForEachRequest() {
        RawServer proxy;
        const QUrl elsewhere("http://elsewhere.example/x");
        const EnvironmentOverride first("http_proxy", "http://" + m_server->authority().toLatin1());
        execute(post(elsewhere));
        QVERIFY(m_server->requests.value(0).startsWith("POST http://elsewhere.example/x HTTP/1.1\r\n"));
        const EnvironmentOverride second("http_proxy", "http://" + proxy.authority().toLatin1());
        execute(post(elsewhere));
        QCOMPARE(proxy.requests.size(), 1);
        const EnvironmentOverride exception("no_proxy", "localhost");
        execute(post(url()));
        QCOMPARE(m_server->requests.size(), 2);
    }

    void destroyingTheClientEndsTheWait() {
        m_server->onRequest = [](QSslSocket*, const QByteArray&) {};
        auto task = m_client->execute(post(url()));
        QVERIFY(waitUntil([&] { return !m_server->requests.isEmpty(); }));
        m_client.reset();
        QVERIFY(!task.isReady()); // never resumed from inside the destructor
        QVERIFY_THROWS_EXCEPTION(platform::OperationCancelled, ::waitFor(std::move(task)));
    }

private:
    QUrl url(const QByteArray& pathAndQuery = "/") const { return m_server->url("http", pathAndQuery); }
    HttpResponse execute(HttpRequest request) { return ::waitFor(m_client->execute(std::move(request))); }
    // An answer counts as the error "other" with its status.
    HttpError failureOf(HttpRequest request) {
        try {
            return HttpError(Kind::other, QString::number(execute(std::move(request)).status));
        } catch (const HttpError& error) {
            return error;
        }
    }

    std::optional<RawServer> m_server;
    std::unique_ptr<platform::HttpClient> m_client;
};

QTEST_GUILESS_MAIN(HttpClientTest)
#include "HttpClientTest.moc"
