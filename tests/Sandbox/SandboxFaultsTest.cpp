#include "Visitor.h"

#include <boost/json/serialize.hpp>

#include <QElapsedTimer>
#include <QTemporaryDir>

using namespace sandbox;
using std::chrono::milliseconds;

namespace {

Options quick() {
    Options options;
    options.pace = milliseconds(2);
    options.keepSamples = true;
    return options;
}

} // namespace

class SandboxFaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_stand.emplace(quick());
        m_visitor.emplace(*m_stand, false);
        m_visitor->signIn();
    }
    void cleanup() {
        m_visitor.reset();
        m_stand.reset();
    }

    void endsLinksAsAsked_data() {
        QTest::addColumn<std::string>("action");
        QTest::addColumn<int>("code");
        QTest::newRow("drop") << std::string("drop") << 1006;
        QTest::newRow("close") << std::string("close") << 1012;
        QTest::newRow("go away") << std::string("go-away") << 1006;
    }
    void endsLinksAsAsked() {
        QFETCH(std::string, action);
        QFETCH(int, code);
        auto link = m_visitor->link();
        m_stand->apply(action, code == 1006 ? boost::json::object() : boost::json::object{{"code", code}});
        QCOMPARE(link->awaitEnd(), code);
        QTRY_COMPARE(m_stand->state().at("links").at("open").to_number<int>(), 0);
    }

    void leavesPingsUnanswered() {
        auto link = m_visitor->link();
        const auto pongAfterPing = [&link] {
            const int before = link->pongs();
            link->sendPing();
            link->send({{"type", "set_english_assessment"}, {"enabled", true}});
            link->await("set_english_assessment");
            return link->pongs() > before;
        };
        QVERIFY(pongAfterPing());
        m_stand->apply("ignore-pings");
        QVERIFY(!pongAfterPing());
        link = m_visitor->link();
        QVERIFY(pongAfterPing());
        m_stand->apply("ignore-pings", {{"new_links", true}});
        link = m_visitor->link();
        QVERIFY(!pongAfterPing());
    }

    void fallsSilent() {
        auto link = m_visitor->link();
        m_stand->apply("silence");
        link->sendPing();
        link->send({{"type", "chat"}, {"message", "hello"}});
        QVERIFY(!link->receive(milliseconds(200)));
        QCOMPARE(link->pongs(), 0);
        m_visitor->link()->send({{"type", "new_chat"}});
        m_stand->apply("drop");
        QCOMPARE(link->awaitEnd(), 1006);
    }

    void refusesUpgrades() {
        const auto target = "/ws?token=" + m_visitor->token();
        const auto refusal = [&](const std::string& where) {
            try {
                RawLink link(m_visitor->backendRoute(), where);
                return 101;
            } catch (const UpgradeRefused& refused) {
                return refused.status;
            }
        };
        m_stand->apply("refuse-upgrade", {{"status", 503}, {"times", 2}});
        QCOMPARE(refusal(target), 503);
        QCOMPARE(refusal(target), 503);
        QCOMPARE(refusal(target), 101);
        QCOMPARE(refusal("/ws?token=a.b.c"), 401);
        QCOMPARE(refusal("/ws"), 401);
        m_stand->apply("revoke-tokens");
        QCOMPARE(refusal(target), 401);
    }

    void answersSlowly() {
        const auto token = m_visitor->token();
        m_stand->apply("slow", {{"milliseconds", 150}});
        QElapsedTimer timer;
        timer.start();
        m_visitor->makeSession("m", token);
        QVERIFY(timer.elapsed() >= 150);
        RawLink link(m_visitor->backendRoute(), "/ws?token=" + token);
        QVERIFY(timer.elapsed() >= 300);
        link.send({{"type", "set_session"}, {"session_id", "m"}});
        link.await("set_session");
        QVERIFY(timer.elapsed() >= 450);
    }

    void acknowledgesTheEndLate() {
        auto link = m_visitor->interview();
        m_stand->apply("delay-end-ack", {{"milliseconds", 150}});
        link->send({{"type", "end_interview"}});
        link->send({{"type", "chat"}, {"message", "I want to start interview with id " + interviewId}});
        std::vector<boost::json::object> said;
        link->await("end_interview_ack", &said);
        QVERIFY(std::any_of(said.begin(), said.end(),
                            [](const auto& message) { return message.at("type") == "chat_questions"; }));
    }

    void sendsNonsense_data() {
        QTest::addColumn<std::string>("kind");
        QTest::addColumn<int>("messages");
        QTest::addColumn<bool>("isText");
        QTest::addColumn<std::string>("start");
        QTest::newRow("malformed") << std::string("malformed") << 1 << true
                                   << std::string("{\"type\":\"chat_chunk\"");
        QTest::newRow("unknown") << std::string("unknown_type") << 1 << true
                                 << std::string("{\"type\":\"brand_new\"");
        QTest::newRow("types") << std::string("wrong_types") << 6 << true
                               << std::string("{\"type\":\"chat_chunk\"");
        QTest::newRow("nested") << std::string("deeply_nested") << 1 << true << std::string(100'000, '[');
        QTest::newRow("binary") << std::string("binary") << 1 << false << std::string("\x01\x02");
    }
    void sendsNonsense() {
        QFETCH(std::string, kind);
        QFETCH(int, messages);
        QFETCH(bool, isText);
        QFETCH(std::string, start);
        auto link = m_visitor->link();
        m_stand->apply("misbehave", {{"kind", kind}});
        for (int i = 0; i < messages; ++i) {
            const auto message = link->receive(std::chrono::seconds(5));
            QVERIFY(message);
            QCOMPARE(message->isText, isText);
            QVERIFY(i > 0 || message->payload.starts_with(start));
        }
        link->send({{"type", "set_english_assessment"}, {"enabled", true}});
        link->await("set_english_assessment");
    }

    void sendsMoreThanAnybodyTakes() {
        auto link = m_visitor->link();
        m_stand->apply("misbehave", {{"kind", "enormous"}});
        QVERIFY_EXCEPTION_THROWN(link->receive(), std::runtime_error);
        link.reset();
        QTRY_COMPARE(m_stand->state().at("links").at("open").to_number<int>(), 0);
        QCOMPARE(m_stand->state().at("links").at("last_close_code").to_number<int>(), 1009);
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
        const auto route = Route::direct(m_stand->addresses().control);
        const auto post = [&](const std::string& action, const std::string& body) {
            return request(route, "POST", "/" + action, {}, body);
        };
        auto link = m_visitor->interview();
        link->sendBinary(audioFrame(1, tone(480, 0.5)));
        link->send({{"type", "set_english_assessment"}, {"enabled", true}});
        link->await("set_english_assessment");
        const auto sound = post("save-sound", "").json();
        QCOMPARE(QFileInfo(QString::fromStdString(std::string(sound.at("files").at(1).as_string()))).size(),
                 44 + 960);

        QCOMPARE(post("close", R"({"code":1011,"reason":"test"})").status, 200);
        QCOMPARE(link->awaitEnd(), 1011);
        QCOMPARE(post("no-such-action", "").status, 400);
        QCOMPARE(post("close", R"({"kode":1011})").status, 400);
        QCOMPARE(post("refuse-upgrade", R"({"status":"503"})").status, 400);
        QVERIFY_EXCEPTION_THROWN(m_stand->apply("slow"), std::invalid_argument);

        const auto state = request(route, "GET", "/state", {}, "");
        QCOMPARE(state.json().at("interviews").at(0).at("candidate").at("samples").to_number<int>(), 480);
        QVERIFY(state.json().at("requests").as_array().size() > 3);
        for (const auto& secret :
             {m_visitor->client, m_visitor->token().substr(0, 40), std::string("424242")}) {
            QVERIFY(state.body.find(secret) == std::string::npos);
        }
    }

private:
    std::optional<Sandbox> m_stand;
    std::optional<Visitor> m_visitor;
};

QTEST_GUILESS_MAIN(SandboxFaultsTest)
#include "SandboxFaultsTest.moc"
