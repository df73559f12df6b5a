#include "Visitor.h"

#include "Rows.h"

using namespace sandbox;

class BackendServiceTest : public QObject {
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
        link->sendText(R"({"type":"candidate_speech_start"})");
        link->await("candidate_speaking");
        stopMark(*link);
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
        QCOMPARE(violations(), 0U);
    }

    void countsSoundToTheSample() {
        auto link = m_visitor->interview();
        std::vector<std::int16_t> sent;
        for (const double seconds : {0.5, 1.0, 2.0}) {
            const auto speech = tone(static_cast<std::size_t>(seconds * 48000), 0.25);
            sent.insert(sent.end(), speech.begin(), speech.end());
            sent.insert(sent.end(), 48000, 0);
        }
        const std::ptrdiff_t chunk = 3840;
        for (auto at = sent.cbegin(); at < sent.cend();) {
            const auto end = at + std::min(chunk, sent.cend() - at);
            link->sendBinary(audioFrame(1, {at, end}));
            at = end;
        }
        link->sendBinary(audioFrame(0, tone(3528, 0.5, 44100), 44100));
        stopMark(*link);
        std::vector<object> said;
        link->await("assessment_done", &said);
        const auto order = outline(said);
        QCOMPARE(std::count(order.begin(), order.end(), "candidate_speaking"), 3);
        QCOMPARE(std::count(order.begin(), order.end(), "candidate_stopped_speaking"), 3);

        const auto candidate = figures("candidate");
        QCOMPARE(candidate.at("seconds").as_double(), 6.5);
        QVERIFY(std::abs(candidate.at("spoke_seconds").as_double() - 3.5) < 0.1);
        // A sine of a quarter of full scale over 3.5 of 6.5 seconds: -15.05 dB and -2.69 dB.
        QVERIFY(std::abs(candidate.at("level_dbfs").as_double() + 17.74) < 0.05);
        QVERIFY(m_stand->samples(Side::candidate) == sent);
        QCOMPARE(figures("interviewer").at("seconds").as_double(), 0.08);
        QCOMPARE(violations(), 0U);
    }

    void noticesFaultyFrames_data() {
        const auto row = rows<int, int>();
        row("stream byte", 0, 2);
        row("chunk size", 5, 99);
        row("format", 21, 3);
        row("byte rate", 29, 1);
        row("data size", 41, 3);
        row("lowest sample", 46, 0x80);
    }
    void noticesFaultyFrames() {
        const auto [offset, value] = currentRow<int, int>();
        auto link = m_visitor->interview();
        auto frame = audioFrame(1, std::vector<std::int16_t>(4, 0));
        frame[static_cast<std::size_t>(offset)] = static_cast<char>(value);
        link->sendBinary(frame);
        link->sendBinary(audioFrame(1, tone(4, 0.5)));
        link->echo();
        QCOMPARE(m_stand->state().at("frames").at("bad").to_number<int>(), 1);
        QCOMPARE(violations(), 1U);
        QCOMPARE(figures("candidate").at("samples").to_number<int>(), 4);
    }

    void noticesWhatComesTooEarly() {
        const auto frame = audioFrame(0, tone(40, 0.1));
        const auto token = m_visitor->token();
        Link link(m_visitor->socketUrl(token));
        link.send({{"type", "chat"}, {"message", "hello"}});
        link.await("error");
        link.sendBinary(frame);
        link.send({{"type", "set_session"}, {"session_id", "unmade"}});
        QCOMPARE(std::string(link.await("error").at("message").as_string()), "Session not found");
        m_visitor->makeSession("made", token);
        link.send({{"type", "set_session"}, {"session_id", "made"}});
        link.await("set_session");
        link.sendBinary(frame);
        link.sendText(R"({"type":"set_follow_ups","enabled":1})");
        link.await("error");
        const auto frames = m_stand->state().at("frames").as_object();
        QCOMPARE(frames.at("before_session").to_number<int>(), 1);
        QCOMPARE(frames.at("without_interview").to_number<int>(), 1);
        QCOMPARE(violations(), 4U);
    }

private:
    static void stopMark(Link& link) {
        const auto now = QDateTime::currentMSecsSinceEpoch();
        link.sendText("{\"at\":" + std::to_string(now) + R"(,"type":"candidate_speech_stop"})");
    }
    object figures(const char* side) const {
        return m_stand->state().at("interviews").at(0).at(side).as_object();
    }
    std::size_t violations() const { return m_stand->violations().size(); }
    // Types in order, the stage for processing_status, runs of one type as one.
    static std::vector<std::string> outline(const std::vector<object>& messages) {
        std::vector<std::string> result;
        for (const auto& message : messages) {
            result.emplace_back(message.at(message.contains("stage") ? "stage" : "type").as_string());
        }
        result.erase(std::unique(result.begin(), result.end()), result.end());
        return result;
    }

    std::optional<Sandbox> m_stand;
    std::optional<Visitor> m_visitor;
};

QTEST_GUILESS_MAIN(BackendServiceTest)
#include "BackendServiceTest.moc"
