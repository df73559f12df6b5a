#include "tests/Sandbox/Visitor.h"

using namespace sandbox;

// That the stand-in notices what it must. Its faults are tested by what they do to the program.
class SandboxTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        Options options;
        options.pace = std::chrono::milliseconds(2);
        options.keepSamples = true;
        m_stand.emplace(options);
        m_visitor.emplace(*m_stand);
        m_visitor->signIn();
    }
    void cleanup() {
        m_visitor.reset();
        m_stand.reset();
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
        for (const char* type : {"candidate_speaking", "candidate_stopped_speaking"}) {
            QCOMPARE(std::ranges::count(said, boost::json::value(type),
                                        [](const auto& message) { return message.at("type"); }),
                     3);
        }
        const auto candidate = figures("candidate");
        QCOMPARE(candidate.at("seconds").as_double(), 6.5);
        QVERIFY(std::abs(candidate.at("spoke_seconds").as_double() - 3.5) < 0.1);
        // A sine of a quarter of full scale over 3.5 of 6.5 seconds: -15.05 dB and -2.69 dB.
        QVERIFY(std::abs(candidate.at("level_dbfs").as_double() + 17.74) < 0.05);
        QVERIFY(m_stand->samples(Side::candidate) == sent);
        QCOMPARE(figures("interviewer").at("seconds").as_double(), 0.08);
        QCOMPARE(violations(), 0U);
    }

    void noticesFaultyFrames() {
        auto link = m_visitor->interview();
        // Stream, chunk size, format, byte rate, data size, lowest sample.
        const std::vector<std::pair<std::size_t, int>> faults{{0, 2},  {5, 99}, {21, 3},
                                                              {29, 1}, {41, 3}, {46, 0x80}};
        for (const auto& [offset, value] : faults) {
            auto frame = audioFrame(1, std::vector<std::int16_t>(4, 0));
            frame[offset] = static_cast<char>(value);
            const auto before = violations();
            link->sendBinary(frame);
            link->echo();
            QCOMPARE(violations(), before + 1);
        }
        link->sendBinary(audioFrame(1, tone(4, 0.5)));
        link->echo();
        QCOMPARE(m_stand->state().at("frames").at("bad").to_number<std::size_t>(), faults.size());
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

    void noticesWhatTheProgramMustNotSend() {
        const auto isNoticed = [&](const QByteArray& query, platform::HttpHeader added,
                                   const QByteArray& form) {
            auto headers = m_visitor->headers();
            headers.removeIf([&](const auto& each) { return each.name == added.name; });
            headers += added.value.isEmpty() ? QList<platform::HttpHeader>() : QList{added};
            const auto before = violations();
            try {
                request(m_visitor->url(signIns + query), "POST", headers, form);
            } catch (const platform::HttpError&) {
            }
            return violations() == before + 1;
        };
        QVERIFY(isNoticed("", {"Clerk-Publishable-Key", ""}, signInForm));
        QVERIFY(isNoticed("", {"Authorization", "x"}, signInForm));
        QVERIFY(isNoticed("?a=b", {}, signInForm));
        QVERIFY(isNoticed("", {"Cookie", "__client=a; b=c"}, signInForm));
        QVERIFY(isNoticed("", {}, "strategy=email_code&identifier=a@example.com"));
        QVERIFY(isNoticed("", {}, signInForm + "&x=y"));
    }

private:
    std::optional<Sandbox> m_stand;
    std::optional<Visitor> m_visitor;
    static void stopMark(Link& link) {
        const auto now = QDateTime::currentMSecsSinceEpoch();
        link.sendText("{\"at\":" + std::to_string(now) + R"(,"type":"candidate_speech_stop"})");
    }
    object figures(const char* side) const {
        return m_stand->state().at("interviews").at(0).at(side).as_object();
    }
    std::size_t violations() const { return m_stand->violations().size(); }
};

QTEST_GUILESS_MAIN(SandboxTest)
#include "SandboxTest.moc"
