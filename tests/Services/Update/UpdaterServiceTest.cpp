#include "tests/Services/Update/UpdaterFixture.h"

#include "Views/Updates/UpdaterPresenter.h"

#include <QSignalSpy>

using namespace corvane;

namespace {

QByteArray feedOf(const QByteArray& version) {
    return "<rss xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel><item>"
           "<sparkle:version>" +
           version + "</sparkle:version><enclosure url='https://updates.lumetra.test/a.deb' length='9' " +
           "sparkle:edSignature='c2ln'/></item></channel></rss>";
}

struct Fixture : UpdaterFixture {
    FakeHttpClient::Handler answer;
    int requests = 0;

    Fixture() {
        makeHttp = [this] {
            auto http = std::make_unique<FakeHttpClient>();
            http->setHandler([this](const platform::HttpRequest& request) {
                ++requests;
                return answer(request);
            });
            return http;
        };
    }
    void serve(const QByteArray& version) {
        answer = [version](auto&&) { return FakeHttpClient::response(200, feedOf(version)); };
    }
    int checksWithin(std::chrono::milliseconds time) {
        const auto before = requests;
        clock.advance(time);
        settle();
        return requests - before;
    }
};

} // namespace

class UpdaterServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void endsOfAnUpdateBecomeTheState() {
        for (const auto& [domain, code, expected] :
             {std::tuple(QString(UpdateError::updaterDomain), 1001, Case::upToDate),
              {"NSURLErrorDomain", 1001, Case::error},
              {UpdateError::updaterDomain, 1002, Case::error}}) {
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
    }

    void installationsThatCannotBeUpdatedSaySo() {
        const auto goodKey = Fixture().key;
        for (const auto& [feed, key, part] : {std::tuple("http://a.test/feed", goodKey, "https"),
                                              {"file:///tmp/feed", goodKey, "https"},
                                              {"https://a.test/feed", "", "SUPublicEDKey"},
                                              {"https://a.test/feed", "c2hvcnQ=", "SUPublicEDKey"}}) {
            Fixture fixture;
            fixture.feed = feed;
            fixture.key = key;
            fixture.launch();
            QCOMPARE(fixture.state(), Case::error);
            QVERIFY(fixture.service->state().error.contains(part));
            QVERIFY(fixture.checksAndSees(Stage::failed));
            QVERIFY(fixture.driver().text().contains(part));
            QCOMPARE(fixture.requests, 0);
        }
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
        fixture.answer = [](auto&&) { return FakeHttpClient::response(503); };
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
        fixture.answer = [&](const platform::HttpRequest& request) {
            return request.url.toString() == fixture.feed
                       ? FakeHttpClient::response(302, {}, {{"Location", location}})
                       : FakeHttpClient::response(200, feedOf("1"));
        };
        fixture.launch();
        QVERIFY(fixture.checksAndSees(end));
        QVERIFY(fixture.requests < 10);
    }
};

QTEST_GUILESS_MAIN(UpdaterServiceTest)
#include "UpdaterServiceTest.moc"
