#include "ClerkAuthService.h"
#include "DatabaseService.h"
#include "MachineId.h"
#include "TestProgram.h"

#include <QTest>

namespace {

QList<QUrl> link(const char* url) {
    return {QUrl(QString::fromLatin1(url))};
}

} // namespace

class AppDelegateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void launchSaysItsVersion();
    void aBrokenPackageDoesNotLaunch();
    void aSignedInLaunchOpensOneSocketWithOneToken();
    void noBackendMeansNoConnection();
    void signingOutAndInMovesTheLink();
    void linksAreReadStrictly_data();
    void linksAreReadStrictly();
    void anEarlyLinkWaitsForLaunchAndSession();
    void theLaterOfTwoWaitingLinksStarts();
    void aLinkStartsAtOnceOrNotAtAll();
    void theMachineIdIsOneStringForEver();
};

void AppDelegateTest::launchSaysItsVersion() {
    TestProgram program(TestProgram::Start::signedOut);
    program.launch();
    QVERIFY(program.log.contains(QStringLiteral("==== Corvane Lumetra launched: v1.2 (build 34) ====")));
    QCOMPARE(program.sockets->count(), 0);

    TestProgram bare(TestProgram::Start::signedOut,
                     platform::ApplicationInfo(
                         {{QStringLiteral("CLERK_PUBLISHABLE_KEY"),
                           *TestProgram::defaultInfo().string(QStringLiteral("CLERK_PUBLISHABLE_KEY"))}}));
    bare.launch();
    QVERIFY(bare.log.contains(QStringLiteral("==== Corvane Lumetra launched: v? (build ?) ====")));
}

void AppDelegateTest::aBrokenPackageDoesNotLaunch() {
    TestProgram program(TestProgram::Start::signedOut, platform::ApplicationInfo());
    QString text;
    try {
        program.app->applicationDidFinishLaunching();
    } catch (const LaunchError& error) {
        text = QString::fromUtf8(error.what());
    }
    QCOMPARE(text, QStringLiteral("CLERK_PUBLISHABLE_KEY missing/invalid in Info.plist: missingBundleKey"));
}

void AppDelegateTest::aSignedInLaunchOpensOneSocketWithOneToken() {
    TestProgram program;
    program.launchToSession();
    QCOMPARE(program.sockets->count(), 1);
    QCOMPARE(program.identityHttp->requests().size(), 1);
    QCOMPARE(program.peer().url.host(), QStringLiteral("backend.lumetra.test"));
    QVERIFY(program.app->webSocketService().isConnected());
}

void AppDelegateTest::noBackendMeansNoConnection() {
    TestProgram program;
    {
        DatabaseService database(program.folder.path(), *program.clock);
        database.setSetting(QStringLiteral("corvane_api_url"), QString());
    }
    program.launch();
    QCOMPARE(program.sockets->count(), 0);
}

void AppDelegateTest::signingOutAndInMovesTheLink() {
    TestProgram program;
    program.launchToSession();
    waitFor(program.app->clerkAuthService().signOut());
    program.settle();
    QVERIFY(!program.app->webSocketService().isConnected());
    QVERIFY(!program.app->webSocketService().isReconnecting());
    program.clock->advance(std::chrono::minutes(1));
    QCOMPARE(program.sockets->count(), 1);
}

void AppDelegateTest::linksAreReadStrictly_data() {
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("id");
    QTest::newRow("an id") << "corvane://interview/abc"
                           << "abc";
    QTest::newRow("the last component") << "corvane://interview/a/b"
                                        << "b";
    QTest::newRow("a trailing slash") << "corvane://interview/a/"
                                      << "a";
    QTest::newRow("escaped") << "corvane://interview/a%20b"
                             << "a b";
    QTest::newRow("another scheme") << "https://interview/abc"
                                    << "";
    QTest::newRow("another host") << "corvane://meeting/abc"
                                  << "";
    QTest::newRow("no path") << "corvane://interview"
                             << "";
    QTest::newRow("the word itself") << "corvane://interview/interview"
                                     << "";
}

void AppDelegateTest::linksAreReadStrictly() {
    QFETCH(QString, url);
    QFETCH(QString, id);
    TestProgram program(TestProgram::Start::signedOut);
    program.launch();
    program.app->open({QUrl(url), QUrl(QStringLiteral("corvane://interview/second"))});
    QCOMPARE(program.interview().interviewId(), id);
    QCOMPARE(program.log.count(QStringLiteral("[DeepLink] Received interview ID")), id.isEmpty() ? 0 : 1);
    program.app->open({});
    // Signed out, a link can start nothing.
    program.settle();
    QCOMPARE(program.interview().status(), InterviewStatus::idle);
}

void AppDelegateTest::anEarlyLinkWaitsForLaunchAndSession() {
    TestProgram program;
    program.app->open(link("corvane://interview/one"));
    program.app->open(link("corvane://interview/two"));
    program.launchToSession();
    QCOMPARE(program.interview().interviewId(), QStringLiteral("two"));
    QCOMPARE(program.interview().status(), InterviewStatus::waitingForQuestions);
    QVERIFY(program.log.contains(QStringLiteral("[DeepLink] Waiting for WebSocket session…")));
    QCOMPARE(program.log.count(QStringLiteral("[DeepLink] Session ready — starting interview two")), 1);
    QCOMPARE(program.commands("chat").size(), 1);
}

void AppDelegateTest::theLaterOfTwoWaitingLinksStarts() {
    TestProgram program;
    program.launch();
    program.app->open(link("corvane://interview/one"));
    program.app->open(link("corvane://interview/two"));
    program.peer().open();
    program.settle();
    // Connected, though the session is not confirmed: a third link needs no wait and takes the place of the
    // second.
    program.serverSays(R"({"type":"session_resumed"})");
    QCOMPARE(program.commands("chat").size(), 1);
    QCOMPARE(program.log.count(QStringLiteral("Session ready — starting interview")), 1);
    QVERIFY(program.log.contains(QStringLiteral("Session ready — starting interview two")));
    program.serverSays(R"({"type":"set_session"})");
    QCOMPARE(program.commands("chat").size(), 1);
}

void AppDelegateTest::aLinkStartsAtOnceOrNotAtAll() {
    TestProgram program;
    program.launchToSession();
    program.app->open(link("corvane://interview/one"));
    program.settle();
    QCOMPARE(program.interview().status(), InterviewStatus::waitingForQuestions);
    QVERIFY(!program.log.contains(QStringLiteral("Waiting for WebSocket session")));

    program.app->open(link("corvane://interview/two"));
    program.settle();
    QCOMPARE(program.interview().interviewId(), QStringLiteral("two"));
    QCOMPARE(program.commands("chat").size(), 1);
}

void AppDelegateTest::theMachineIdIsOneStringForEver() {
    const auto defaults = platform::makeMemoryDefaultsStore();
    QCOMPARE(machineIdOf(*defaults, QStringLiteral("of-the-system")), QStringLiteral("of-the-system"));
    const auto made = machineIdOf(*defaults, std::nullopt);
    QCOMPARE(made.size(), 36);
    QCOMPARE(machineIdOf(*defaults, std::nullopt), made);
    QCOMPARE(machineIdOf(*defaults, QStringLiteral("of-the-system")), made);

    // The REST call and the socket name the same machine.
    TestProgram program;
    program.launchToSession();
    const auto body = program.backendHttp->requests().first().body.value();
    const auto command = program.commands("set_session").first();
    const auto id = machineIdOf(*program.defaults).toUtf8();
    QVERIFY(body.contains("\"session_id\":\"" + id + '"'));
    QVERIFY(command.contains("\"session_id\":\"" + id + '"'));
}

QTEST_GUILESS_MAIN(AppDelegateTest)
#include "AppDelegateTest.moc"
