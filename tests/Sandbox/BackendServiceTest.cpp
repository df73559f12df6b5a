#include "Visitor.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <QElapsedTimer>

#include <set>

using namespace sandbox;
using boost::json::object;

namespace {

Options quick() {
    Options options;
    options.pace = std::chrono::milliseconds(2);
    options.keepSamples = true;
    return options;
}

object figures(const Sandbox& stand, const char* side) {
    return stand.state().at("interviews").at(0).at(side).as_object();
}

void mark(RawLink& link, bool begins) {
    const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    link.sendText(begins ? R"({"type":"candidate_speech_start"})"
                         : "{\"at\":" + std::to_string(now.count()) + R"(,"type":"candidate_speech_stop"})");
}

} // namespace

class BackendServiceTest : public QObject {
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

    void makesSessionsOverRest() {
        const auto token = m_visitor->token();
        QCOMPARE(m_visitor->makeSession("a", token).status, 201);
        QCOMPARE(m_visitor->makeSession("a", token).status, 409);
        QCOMPARE(m_visitor->makeSession("b", token).status, 201);
        QCOMPARE(m_visitor->makeSession("c", token + "x").status, 401);
        m_stand->apply("fail-rest", {{"status", 500}});
        QCOMPARE(m_visitor->makeSession("c", token).status, 500);
        m_stand->apply("revoke-tokens");
        QCOMPARE(m_visitor->makeSession("c", token).status, 401);
        QCOMPARE(m_visitor->makeSession("c", m_visitor->token()).status, 201);
        m_stand->apply("token-lifetime", {{"seconds", 0}});
        QCOMPARE(m_visitor->makeSession("d", m_visitor->token()).status, 401);
    }

    void refusesMalformedRestCalls_data() {
        QTest::addColumn<std::string>("type");
        QTest::addColumn<std::string>("body");
        const std::string type = "application/json";
        const std::string sound =
            R"({"session_id":"a","metadata":{"client":"corvane-interview-assistant-native"}})";
        QTest::newRow("type") << type + ";charset=utf-8" << sound;
        QTest::newRow("no JSON") << type << std::string("{");
        QTest::newRow("client") << type << std::string(R"({"session_id":"a","metadata":{"client":"x"}})");
        QTest::newRow("id")
            << type
            << std::string(R"({"session_id":1,"metadata":{"client":"corvane-interview-assistant-native"}})");
        QTest::newRow("extra key") << type << sound.substr(0, sound.size() - 1) + R"(,"x":1})";
    }
    void refusesMalformedRestCalls() {
        QFETCH(std::string, type);
        QFETCH(std::string, body);
        const Headers headers{{"Authorization", "Bearer " + m_visitor->token()}, {"Content-Type", type}};
        const auto answer =
            request(m_visitor->backendRoute(), "POST", "/api/interview-sessions", headers, body);
        QCOMPARE(answer.status, 422);
        QCOMPARE(m_stand->violations().size(), std::size_t(1));
    }

    void playsTheWholeScript() {
        auto link = m_visitor->link();
        std::vector<object> said;
        link->send({{"type", "chat"}, {"message", "I want to start interview with id " + interviewId}});
        said.push_back(link->await("chat_questions", &said));
        link->send({{"type", "interview_id"}, {"id", interviewId}});
        said.push_back(link->await("request_active_question", &said));
        QCOMPARE(outline(said),
                 (std::vector<std::string>{"analyzing", "preparing", "chat_chunk", "chat_done",
                                           "building_prompt", "processing_questions", "chat_interview_plan",
                                           "chat_questions", "request_active_question"}));

        const auto& questions = said[said.size() - 2].at("questions").as_object();
        std::vector<std::string> topics;
        for (const auto& topic : questions) {
            topics.emplace_back(topic.key());
        }
        QCOMPARE(topics.front(), "Warm-up");
        QCOMPARE(topics.back(), "Closing");
        QVERIFY(!std::is_sorted(topics.begin(), topics.end()));

        const auto question = questions.at("Debugging").at(0).at("question").as_string();
        link->send({{"type", "active_question"}, {"question", question}});
        link->send({{"type", "set_follow_ups"}, {"enabled", true}});
        link->send({{"type", "set_english_assessment"}, {"enabled", true}});
        QCOMPARE(link->await("set_english_assessment").at("enabled").as_bool(), true);
        mark(*link, true);
        link->await("candidate_speaking");
        mark(*link, false);
        std::vector<object> assessed;
        link->await("assessment_done", &assessed);
        std::string text;
        for (const auto& message : assessed) {
            text += message.contains("text") ? std::string(message.at("text").as_string()) : std::string();
        }
        QVERIFY(text.starts_with("Interviewer: 0.0 s received, silence. Candidate: 0.0 s received, silence, "
                                 "spoke 0 times for 0.0 s.\nMarks: 1 starts, 1 stops."));
        QVERIFY(text.find("\n\n**Comment:**\n") < text.find("\n\n**Recommendation:**\n"));
        link->send({{"type", "end_interview"}});
        link->await("end_interview_ack");

        const auto interview = m_stand->state().at("interviews").at(0).as_object();
        QCOMPARE(interview.at("last_assessment").as_string(), boost::json::string(text));
        QCOMPARE(interview.at("active_question").as_string(), question);
        QCOMPARE(interview.at("running").as_bool(), false);
        QCOMPARE(m_stand->violations(), std::vector<std::string>());
    }

    void answersPlainChatWithoutAPlan_data() {
        QTest::addColumn<std::string>("message");
        QTest::newRow("chat") << std::string("Hello");
        QTest::newRow("no id") << std::string("I want to start interview with id 12");
        QTest::newRow("unplanned") << std::string(
            "I want to start interview with id 00000000-0000-0000-0000-000000000000");
    }
    void answersPlainChatWithoutAPlan() {
        QFETCH(std::string, message);
        auto link = m_visitor->link();
        std::vector<object> said;
        link->send({{"type", "chat"}, {"message", message}});
        link->await("chat_done", &said);
        QVERIFY(outline(said).back() == "chat_chunk");
        QVERIFY(!link->receive(std::chrono::milliseconds(60)));
    }

    void countsSoundToTheSample() {
        auto link = m_visitor->interview();
        std::vector<std::int16_t> sent;
        for (const double seconds : {0.5, 1.0, 2.0}) {
            auto speech = tone(static_cast<std::size_t>(seconds * 48000), 0.25);
            sent.insert(sent.end(), speech.begin(), speech.end());
            sent.insert(sent.end(), 48000, 0);
        }
        const std::size_t chunk = 3840;
        for (std::size_t at = 0; at < sent.size(); at += chunk) {
            const auto end = sent.begin() + static_cast<std::ptrdiff_t>(std::min(sent.size(), at + chunk));
            link->sendBinary(audioFrame(1, {sent.begin() + static_cast<std::ptrdiff_t>(at), end}));
        }
        link->sendBinary(audioFrame(0, tone(3528, 0.5, 44100), 44100));
        mark(*link, false);
        std::vector<object> said;
        link->await("assessment_done", &said);
        const auto order = outline(said);
        QCOMPARE(std::count(order.begin(), order.end(), "candidate_speaking"), 3);
        QCOMPARE(std::count(order.begin(), order.end(), "candidate_stopped_speaking"), 3);

        const auto candidate = figures(*m_stand, "candidate");
        QCOMPARE(candidate.at("samples").to_number<std::size_t>(), sent.size());
        QCOMPARE(candidate.at("seconds").as_double(), 6.5);
        QCOMPARE(candidate.at("spoke_times").as_int64(), 3);
        QVERIFY(std::abs(candidate.at("spoke_seconds").as_double() - 3.5) < 0.1);
        // A sine of a quarter of full scale over 3.5 of 6.5 seconds: -15.05 dB and -2.69 dB.
        QVERIFY(std::abs(candidate.at("level_dbfs").as_double() + 17.74) < 0.05);
        QVERIFY(m_stand->samples(Side::candidate) == sent);
        const auto interviewer = figures(*m_stand, "interviewer");
        QCOMPARE(interviewer.at("seconds").as_double(), 0.08);
        QCOMPARE(interviewer.at("sample_rate").to_number<int>(), 44100);
        QCOMPARE(m_stand->violations(), std::vector<std::string>());
    }

    void noticesFaultyFrames_data() {
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("value");
        for (const auto& [name, offset, value] : {std::tuple{"stream byte", 0, 2},
                                                  {"RIFF", 1, 'r'},
                                                  {"chunk size", 5, 99},
                                                  {"WAVE", 9, 'w'},
                                                  {"format size", 17, 18},
                                                  {"audio format", 21, 3},
                                                  {"channels", 23, 2},
                                                  {"rate", 27, 9},
                                                  {"byte rate", 29, 1},
                                                  {"block align", 33, 4},
                                                  {"bits", 35, 24},
                                                  {"data", 37, 'D'},
                                                  {"data size", 41, 3},
                                                  {"lowest sample", 46, 0x80}}) {
            QTest::newRow(name) << offset << value;
        }
    }
    void noticesFaultyFrames() {
        QFETCH(int, offset);
        QFETCH(int, value);
        auto link = m_visitor->interview();
        auto frame = audioFrame(1, std::vector<std::int16_t>(4, 0));
        frame[static_cast<std::size_t>(offset)] = static_cast<char>(value);
        link->sendBinary(frame);
        link->sendBinary(audioFrame(1, tone(4, 0.5)));
        link->send({{"type", "set_english_assessment"}, {"enabled", false}});
        link->await("set_english_assessment");
        QCOMPARE(m_stand->state().at("frames").at("bad").to_number<int>(), 1);
        QCOMPARE(m_stand->violations().size(), std::size_t(1));
        QCOMPARE(figures(*m_stand, "candidate").at("samples").to_number<int>(), 4);
    }

    void noticesWhatComesTooEarly() {
        const auto frame = audioFrame(0, tone(40, 0.1));
        const auto token = m_visitor->token();
        RawLink link(m_visitor->backendRoute(), "/ws?token=" + token);
        link.send({{"type", "chat"}, {"message", "hello"}});
        link.await("error");
        link.sendBinary(frame);
        link.send({{"type", "set_session"}, {"session_id", "unmade"}});
        QCOMPARE(link.await("error").at("message").as_string(), "Session not found");
        m_visitor->makeSession("made", token);
        link.send({{"type", "set_session"}, {"session_id", "made"}});
        link.await("set_session");
        link.sendBinary(frame);
        link.sendBinary(frame);
        link.sendText(R"({"type":"set_follow_ups","enabled":1})");
        link.await("error");
        const auto frames = m_stand->state().at("frames").as_object();
        QCOMPARE(frames.at("before_session").to_number<int>(), 1);
        QCOMPARE(frames.at("without_interview").to_number<int>(), 2);
        QCOMPARE(m_stand->violations().size(), std::size_t(4));
    }

    void sessionsOutliveConnections() {
        auto link = m_visitor->interview();
        link->sendBinary(audioFrame(1, tone(480, 0.2)));
        link->close(1001);
        std::string answer;
        link = m_visitor->link("machine", &answer);
        const object resumed{
            {"type", "session_resumed"}, {"session_id", "machine"}, {"interview_id", interviewId}};
        QCOMPARE(answer, boost::json::serialize(resumed));
        link->sendBinary(audioFrame(1, tone(480, 0.2)));
        link = m_visitor->link("machine", &answer);
        QCOMPARE(figures(*m_stand, "candidate").at("samples").to_number<int>(), 960);
        QCOMPARE(m_stand->state().at("links").at("last_close_code").to_number<int>(), 1006);

        m_stand->apply("forget-interviews");
        link->sendBinary(audioFrame(1, tone(480, 0.2)));
        link = m_visitor->link("machine", &answer);
        QCOMPARE(answer, R"({"type":"session_resumed","session_id":"machine"})");
        m_stand->apply("forget-sessions");
        link = m_visitor->link("machine", &answer);
        QCOMPARE(answer, R"({"type":"set_session","session_id":"machine"})");
        QCOMPARE(m_stand->violations(), std::vector<std::string>());
    }

    void wordsALostSession_data() {
        QTest::addColumn<std::string>("wording");
        QTest::addColumn<bool>("atOnce");
        QTest::addColumn<std::string>("text");
        QTest::newRow("plain") << std::string("plain") << false << std::string("Session not found");
        QTest::newRow("id") << std::string("id") << true << std::string("session machine not found");
        QTest::newRow("reversed") << std::string("reversed") << false << std::string("Not found: session");
    }
    void wordsALostSession() {
        QFETCH(std::string, wording);
        QFETCH(bool, atOnce);
        QFETCH(std::string, text);
        auto link = m_visitor->interview();
        m_stand->apply("forget-sessions", {{"wording", wording}, {"at_once", atOnce}});
        if (!atOnce) {
            QVERIFY(!link->receive(std::chrono::milliseconds(40)));
            mark(*link, true);
        }
        QCOMPARE(std::string(link->await("error").at("message").as_string()), text);
        QCOMPARE(m_visitor->makeSession("machine", m_visitor->token()).status, 201);
        link->send({{"type", "set_session"}, {"session_id", "machine"}});
        link->await("set_session");
    }

    void assessesAsTimePasses() {
        m_stand->apply("assessment-every", {{"milliseconds", 1000}});
        auto link = m_visitor->interview();
        for (int i = 0; i < 13; ++i) {
            link->sendBinary(audioFrame(0, tone(3840, 0.1)));
        }
        const auto end = link->await("assessment");
        QVERIFY(end.at("interviewer").at("seconds").as_double() >= 1.0);
    }

    void keepsUpWithAThousandFramesASecond() {
        auto link = m_visitor->interview();
        const auto frame = audioFrame(1, tone(3840, 0.3));
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 1000; ++i) {
            link->sendBinary(frame);
        }
        mark(*link, false);
        link->await("assessment_done");
        QCOMPARE(figures(*m_stand, "candidate").at("frames").to_number<int>(), 1000);
        QVERIFY2(timer.elapsed() < 10'000, qPrintable(QString::number(timer.elapsed())));
    }

private:
    // Types in order, the stage for processing_status, runs of one type as one.
    static std::vector<std::string> outline(const std::vector<object>& messages) {
        std::vector<std::string> result;
        for (const auto& message : messages) {
            const std::string type(message.contains("stage") ? message.at("stage").as_string()
                                                             : message.at("type").as_string());
            if (result.empty() || result.back() != type) {
                result.push_back(type);
            }
        }
        return result;
    }

    std::optional<Sandbox> m_stand;
    std::optional<Visitor> m_visitor;
};

QTEST_GUILESS_MAIN(BackendServiceTest)
#include "BackendServiceTest.moc"
