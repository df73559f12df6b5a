#include "Visitor.h"

#include "Rows.h"

#include <QElapsedTimer>

using namespace sandbox;

// That the faults happen as asked; what they do to the program is tested with the program.
class SandboxFaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        Options options;
        options.pace = std::chrono::milliseconds(2);
        options.keepSamples = true;
        m_stand.emplace(options);
        m_visitor.emplace(*m_stand, false);
        m_visitor->signIn();
    }
    void cleanup() {
        m_visitor.reset();
        m_stand.reset();
    }

    void refusesUpgrades() {
        const auto token = m_visitor->token();
        m_stand->apply("refuse-upgrade", {{"status", 503}, {"times", 2}});
        for (const int status : {503, 503, 101}) {
            QCOMPARE(Link(m_visitor->socketUrl(token)).status(), status);
        }
        QCOMPARE(Link(m_visitor->socketUrl("a.b.c")).status(), 401);
        m_stand->apply("revoke-tokens");
        QCOMPARE(Link(m_visitor->socketUrl(token)).status(), 401);
    }

    void answersSlowlyOrNotAtAll() {
        auto link = m_visitor->link();
        m_stand->apply("slow", {{"milliseconds", 150}});
        QElapsedTimer timer;
        timer.start();
        link->echo();
        QVERIFY(timer.elapsed() >= 150);
        m_stand->apply("cure");

        int pongs = 0;
        m_stand->apply("ignore-pings");
        link->task().sendPing([&](std::exception_ptr failure) { pongs += failure ? 0 : 1; });
        link->echo();
        m_stand->apply("silence");
        link->send({{"type", "set_english_assessment"}, {"enabled", true}});
        QVERIFY(!link->receive(200));
        QCOMPARE(pongs, 0);
        m_stand->apply("drop");
        QCOMPARE(link->awaitEnd(), 1006);
    }

    void sendsNonsense_data() {
        const auto row = rows<int, bool, QByteArray>();
        row("malformed", 1, true, "{\"type\":\"chat_chunk\"");
        row("unknown_type", 1, true, "{\"type\":\"brand_new\"");
        row("wrong_types", 6, true, "{\"type\":\"chat_chunk\"");
        row("deeply_nested", 1, true, QByteArray(100'000, '['));
        row("binary", 1, false, "\x01\x02");
    }
    void sendsNonsense() {
        const auto [messages, isText, start] = currentRow<int, bool, QByteArray>();
        auto link = m_visitor->link();
        m_stand->apply("misbehave", {{"kind", QTest::currentDataTag()}});
        for (int i = 0; i < messages; ++i) {
            const auto message = link->receive();
            QVERIFY(message);
            QCOMPARE(message->isText, isText);
            QVERIFY(i > 0 || message->payload.startsWith(start));
        }
        link->echo();
    }

    void goesAwayAndComesBack() {
        const auto token = m_visitor->token();
        m_stand->apply("go-away", {{"milliseconds", 200}});
        QVERIFY_EXCEPTION_THROWN(m_visitor->token(), std::runtime_error);
        QTRY_COMPARE(m_stand->state().at("away").as_bool(), false);
        QCOMPARE(m_visitor->makeSession("m", token).status, 201);
        m_stand->apply("go-away", {{"backend_only", true}});
        QVERIFY(!m_visitor->token().empty());
        QVERIFY_EXCEPTION_THROWN(m_visitor->makeSession("m", token), std::runtime_error);
        m_stand->apply("cure");
        QCOMPARE(m_visitor->makeSession("m", token).status, 409);
    }

    void obeysTheControlAddress() {
        const auto control = QString::fromStdString(m_stand->addresses().control);
        const auto post = [&](const char* action, const QByteArray& body) {
            return request(QUrl(control + u'/' + action), "POST", {}, body);
        };
        auto link = m_visitor->interview();
        link->sendBinary(audioFrame(1, tone(480, 0.5)));
        link->echo();
        const auto sound = jsonOf(post("save-sound", "").body);
        QCOMPARE(QFileInfo(QString::fromStdString(std::string(sound.at("files").at(1).as_string()))).size(),
                 44 + 960);
        QCOMPARE(post("close", R"({"code":1011,"reason":"test"})").status, 200);
        QCOMPARE(link->awaitEnd(), 1011);
        QVERIFY_EXCEPTION_THROWN(m_stand->apply("no-such-action"), std::invalid_argument);
        QVERIFY_EXCEPTION_THROWN(m_stand->apply("close", {{"kode", 1011}}), std::invalid_argument);

        const auto state = request(QUrl(control + "/state"));
        QCOMPARE(jsonOf(state.body).at("interviews").at(0).at("candidate").at("samples").to_number<int>(),
                 480);
        for (const auto& secret :
             {m_visitor->client, QByteArray::fromStdString(m_visitor->token()).first(40)}) {
            QVERIFY(!state.body.contains(secret));
        }
    }

private:
    std::optional<Sandbox> m_stand;
    std::optional<Visitor> m_visitor;
};

QTEST_GUILESS_MAIN(SandboxFaultsTest)
#include "SandboxFaultsTest.moc"
