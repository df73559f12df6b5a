#include "tests/Services/Update/UpdaterFixture.h"

#include "Views/Updates/UpdaterPresenter.h"

#include <QSignalSpy>

using namespace corvane;

namespace {

// The network is the test's, and outlives the sessions that the updater makes on it.
class Session : public platform::HttpClient {
public:
    explicit Session(FakeHttpClient& http)
        : m_http(http) {}
    QCoro::Task<platform::HttpResponse> execute(platform::HttpRequest request) override {
        return m_http.execute(std::move(request));
    }
    QCoro::Task<platform::HttpResponse> stream(platform::HttpRequest request, BodySink sink) override {
        return m_http.stream(std::move(request), std::move(sink));
    }

private:
    FakeHttpClient& m_http;
};

QByteArray feedOf(const QByteArray& version) {
    return "<rss xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel><item>"
           "<sparkle:version>" +
           version + "</sparkle:version><enclosure url='https://updates.lumetra.test/a.deb' length='9' " +
           "sparkle:edSignature='c2ln'/></item></channel></rss>";
}

struct Fixture : UpdaterFixture {
    FakeHttpClient http;

    Fixture() {
        makeHttp = [this] { return std::make_unique<Session>(http); };
    }
    void serve(const QByteArray& version) {
        http.setHandler([version](auto&&) { return FakeHttpClient::response(200, feedOf(version)); });
    }
    qsizetype checksWithin(std::chrono::milliseconds time) {
        const auto before = http.requests().size();
        clock.advance(time);
        settle();
        return http.requests().size() - before;
    }
};

} // namespace

class UpdaterServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void endsOfAnUpdateBecomeTheState_data() {
        const auto row = rows<QString, int, Case>();
        row("nothing found", UpdateError::updaterDomain, 1001, Case::upToDate);
        row("another domain", "NSURLErrorDomain", 1001, Case::error);
        row("another code", UpdateError::updaterDomain, 1002, Case::error);
    }
    void endsOfAnUpdateBecomeTheState() {
        const auto [domain, code, expected] = currentRow<QString, int, Case>();
        Fixture fixture;
        fixture.launch();
        auto& service = *fixture.service;
        service.updaterWillCheckForUpdates(*service.updater());
        QCOMPARE(fixture.state(), Case::idle); // not before the main queue has its turn
        fixture.settle();
        QCOMPARE(fixture.state(), Case::checking);
        service.updaterDidAbortWithError(*service.updater(), UpdateError(code, "why", domain));
        fixture.settle();
        QCOMPARE(fixture.state(), expected);
        QCOMPARE(service.state().error, QString(expected == Case::error ? "why" : ""));
    }

    void installationsThatCannotBeUpdatedSaySo_data() {
        const auto row = rows<QString, QString, QString>();
        const QString feed = "https://a.test/feed";
        const QString key = "ack+ZdGSst6FVRag6K3nXO3fz3tY0hetIWJ+vpdI4Vw=";
        row("a feed without TLS", "http://a.test/feed", key, "https");
        row("a file", "file:///tmp/feed", key, "https");
        row("no key", feed, "", "SUPublicEDKey");
        row("a key of another size", feed, "c2hvcnQ=", "SUPublicEDKey");
    }
    void installationsThatCannotBeUpdatedSaySo() {
        const auto [feed, key, part] = currentRow<QString, QString, QString>();
        Fixture fixture;
        fixture.feed = feed;
        fixture.key = key;
        fixture.launch();
        QCOMPARE(fixture.state(), Case::error);
        QVERIFY(fixture.service->state().error.contains(part));
        QVERIFY(fixture.checksAndSees(Stage::failed));
        QVERIFY(fixture.driver().text().contains(part));
        QVERIFY(fixture.http.requests().isEmpty());
    }

    void anInstallationWithoutAFeedIsQuiet() {
        Fixture fixture;
        fixture.feed.clear();
        fixture.launch();
        QCOMPARE(fixture.checksWithin(24h), 0);
        QCOMPARE(fixture.state(), Case::idle);
        const UpdaterPresenter card(*fixture.service);
        QVERIFY(card.subtitle().contains("does not look for updates"));
        QCOMPARE(card.buttonText(), QString());
        QCOMPARE(fixture.log.count("[Updater]"), 0);
    }

    void aCheckComesTwiceADayWhateverTheRestarts() {
        Fixture fixture;
        fixture.serve("1");
        fixture.launch();
        QCOMPARE(fixture.checksWithin(59s), 0);
        QCOMPARE(fixture.checksWithin(1s), 1);
        QCOMPARE(fixture.state(), Case::upToDate);
        QCOMPARE(fixture.driver().stage(), Stage::hidden);
        for (int start = 0; start < 3; ++start) {
            QCOMPARE(fixture.checksWithin(3h), 0);
            fixture.launch();
        }
        QCOMPARE(fixture.checksWithin(3h - 1min), 0);
        QCOMPARE(fixture.checksWithin(2min), 1);
        // The machine slept, and the timer with it.
        fixture.clock.jump(24h);
        QCOMPARE(fixture.checksWithin(1h), 1);
        // The clock had been wrong.
        fixture.clock.jump(-48h);
        QCOMPARE(fixture.checksWithin(1h), 1);
    }

    void checksThatFailUnaskedOpenNoWindowAndAreNotRepeatedAtEachStart() {
        Fixture fixture;
        fixture.http.setHandler([](auto&&) { return FakeHttpClient::response(503); });
        fixture.launch();
        QCOMPARE(fixture.checksWithin(1min), 1);
        QCOMPARE(fixture.state(), Case::error);
        QCOMPARE(fixture.driver().stage(), Stage::hidden);
        fixture.launch();
        QCOMPARE(fixture.checksWithin(11h), 0);
        QCOMPARE(fixture.checksWithin(2h), 1);
        QVERIFY(fixture.checksAndSees(Stage::failed));
    }

    // What the feed says of a check that the user's answer has overtaken.
    void anOpenWindowIsTheUsersToAnswer() {
        Fixture fixture;
        fixture.serve("2");
        fixture.launch();
        fixture.checksWithin(1min);
        QCOMPARE(fixture.driver().stage(), Stage::found);
        QSignalSpy forward(&fixture.driver(), &platform::SPUStandardUserDriver::broughtForward);
        fixture.serve("3");
        QCOMPARE(fixture.checksWithin(48h), 0);
        QVERIFY(fixture.checksAndSees(Stage::found)); // the card's button
        QCOMPARE(fixture.driver().item().versionString, "2");
        QCOMPARE(forward.count(), 1);
        fixture.driver().dismiss();
        fixture.driver().choose(); // a click that comes too late
        QCOMPARE(fixture.driver().stage(), Stage::hidden);
    }

    void aReleasePutOffIsNotShownAgainUnasked() {
        Fixture fixture;
        fixture.serve("2");
        fixture.launch();
        fixture.checksWithin(1min);
        QCOMPARE(fixture.driver().stage(), Stage::found);
        QVERIFY(fixture.driver().isAutomatic());
        QCOMPARE(fixture.state(), Case::available);
        QCOMPARE(fixture.service->state().notes, QString());
        fixture.driver().dismiss();
        fixture.launch();
        QCOMPARE(fixture.checksWithin(13h), 1);
        QCOMPARE(fixture.driver().stage(), Stage::hidden);
        QVERIFY(fixture.checksAndSees(Stage::found));
        fixture.driver().dismiss();
        fixture.serve("3");
        fixture.checksWithin(13h);
        QCOMPARE(fixture.driver().stage(), Stage::found);
    }

    void redirectsStayWithinTls_data() {
        const auto row = rows<QByteArray, Stage>();
        row("to another host", "https://b.test/feed", Stage::upToDate);
        row("to a path", "/feed", Stage::upToDate);
        row("away from TLS", "http://b.test/feed", Stage::failed);
        row("in a circle", "https://updates.lumetra.test/update/appcast.xml", Stage::failed);
    }
    void redirectsStayWithinTls() {
        const auto [location, end] = currentRow<QByteArray, Stage>();
        Fixture fixture;
        fixture.http.setHandler([&](const platform::HttpRequest& request) {
            return request.url.toString() == fixture.feed
                       ? FakeHttpClient::response(302, {}, {{"Location", location}})
                       : FakeHttpClient::response(200, feedOf("1"));
        });
        fixture.launch();
        QVERIFY(fixture.checksAndSees(end));
        QVERIFY(fixture.http.requests().size() < 10);
    }
};

QTEST_GUILESS_MAIN(UpdaterServiceTest)
#include "UpdaterServiceTest.moc"
