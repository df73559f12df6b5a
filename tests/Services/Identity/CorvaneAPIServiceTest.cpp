#include "Services/CorvaneAPIService.h"
#include "tests/Services/Identity/IdentityFixture.h"
#include "tests/Support/Rows.h"

using namespace corvane;

using namespace std::chrono_literals;

namespace {

// A signed-in user, and the backend on a network of its own.
struct BackendFixture : IdentityFixture {
    FakeHttpClient backend;
    int tokens = 0;
    CorvaneAPIService api{"https://backend.example/base", signedIn(), backend, "machine-1"};

    ClerkAuthService* signedIn() {
        launchSignedIn();
        http.setHandler([this](const platform::HttpRequest&) {
            return FakeHttpClient::response(200,
                                            tokenBody(sessionJWT(clock, 60s, QByteArray::number(++tokens))));
        });
        return auth.get();
    }
};

} // namespace

class CorvaneAPIServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void asksForThisMachinesSession() {
        BackendFixture f;
        f.backend.answer(201, "anything");
        ::waitFor(f.api.ensureMachineSession());
        QCOMPARE(f.backend.requests().size(), 1);
        const auto& request = f.backend.requests().first();
        QCOMPARE(request.method, "POST");
        QCOMPARE(request.url.toEncoded(), "https://backend.example/base/api/interview-sessions");
        QCOMPARE(request.headers.size(), 2);
        QCOMPARE(headerOf(request, "Authorization"), "Bearer " + sessionJWT(f.clock, 60s, "1"));
        QCOMPARE(headerOf(request, "Content-Type"), "application/json");
        QCOMPARE(request.timeout, 60s);
        const auto expected = json::parse(
            R"({"metadata":{"client":"corvane-interview-assistant-native"},"session_id":"machine-1"})");
        QVERIFY(json::parse(*request.body) == expected);
    }

    void onlyTheStatusCounts_data() {
        const auto row = rows<QList<int>, QString>();
        row("exists", {409}, "");
        row("server error", {500}, "HTTP error 500");
        row("moved", {302}, "HTTP error 302");
        row("not HTTP", {-1}, "HTTP error -1");
        row("new token", {401, 200}, "");
        row("refused twice", {401, 401}, "Unauthorized — please sign in again.");
    }
    void onlyTheStatusCounts() {
        const auto [statuses, failure] = currentRow<QList<int>, QString>();
        BackendFixture f;
        for (const auto status : statuses) {
            if (status < 0) {
                f.backend.fail(platform::HttpError::Kind::notHttp);
            } else {
                f.backend.answer(status);
            }
        }
        f.backend.answer(200); // one request more than expected would take it
        QCOMPARE(failureOf(f.api.ensureMachineSession()), failure);
        QCOMPARE(f.backend.requests().size(), statuses.size());
        QCOMPARE(f.tokens, static_cast<int>(statuses.size()));
        QCOMPARE(headerOf(f.backend.requests().last(), "Authorization"),
                 "Bearer " + sessionJWT(f.clock, 60s, QByteArray::number(statuses.size())));
        QCOMPARE(f.backend.requests().last().body, f.backend.requests().first().body);
    }

    void anUnusableAddressAsksForNoToken() {
        BackendFixture f;
        for (const auto* url :
             {"", "backend.example", "https://", "https://a b", "file:///tmp", "https://a:x"}) {
            f.api.setBaseURL(QString::fromLatin1(url));
            QCOMPARE(failureOf(f.api.ensureMachineSession()), "Invalid API configuration");
        }
        QCOMPARE(f.tokens, 0);
        QVERIFY(f.backend.requests().isEmpty());
    }

    void signedOutNothingIsSent() {
        BackendFixture f;
        ::waitFor(f.auth->signOut());
        QVERIFY_EXCEPTION_THROWN(::waitFor(f.api.ensureMachineSession()), ClerkAuthService::Error);
        QVERIFY(f.backend.requests().isEmpty());
    }
};

QTEST_GUILESS_MAIN(CorvaneAPIServiceTest)
#include "CorvaneAPIServiceTest.moc"
