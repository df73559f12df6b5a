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
    }
    void cleanup() {
        m_visitor.reset();
        m_stand.reset();
    }

    void countsSoundToTheSample() {
        auto link = m_visitor->interview();
        QByteArray sent; // the samples as they are in the frames
        for (const double seconds : {0.5, 1.0, 2.0}) {
            auto sound = tone(static_cast<std::size_t>(seconds * 48000), 0.25);
            sound.insert(sound.end(), 48000, 0.0F);
            for (auto rest = std::span<const float>(sound); !rest.empty();) {
                const auto chunk = rest.first(std::min<std::size_t>(3840, rest.size()));
                const auto frame = audioFrame(1, chunk);
                link->sendBinary(frame);
                sent += frame.sliced(1 + corvane::WAVEncoder::headerSize);
                rest = rest.subspan(chunk.size());
            }
        }
        link->sendBinary(audioFrame(0, tone(3528, 0.5, 44100), 44100));
        link->send({{"at", QDateTime::currentMSecsSinceEpoch()}, {"type", "candidate_speech_stop"}});
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
        const auto heard = m_stand->samples(Side::candidate);
        const auto bytes = std::as_bytes(std::span(heard));
        QVERIFY(sent == QByteArrayView(bytes.data(), qsizetype(bytes.size())));
        QCOMPARE(figures("interviewer").at("seconds").as_double(), 0.08);
        QCOMPARE(violations(), 0U);
    }

    void noticesFaultyFrames() {
        auto link = m_visitor->interview();
        // Stream, chunk size, format, byte rate, data size, lowest sample.
        const QList<std::pair<int, int>> faults{{0, 2}, {5, 99}, {21, 3}, {29, 1}, {41, 3}, {46, 0x80}};
        for (const auto& [offset, value] : faults) {
            auto frame = audioFrame(1, std::vector<float>(4));
            frame[offset] = static_cast<char>(value);
            const auto before = violations();
            link->sendBinary(frame);
            link->echo();
            QCOMPARE(violations(), before + 1);
        }
        link->sendBinary(audioFrame(1, tone(4, 0.5)));
        link->echo();
        QCOMPARE(m_stand->state().at("frames").at("bad").to_number<qsizetype>(), faults.size());
        QCOMPARE(figures("candidate").at("samples").to_number<int>(), 4);
    }

    void noticesWhatComesTooEarly() {
        const auto frame = audioFrame(0, tone(40, 0.1));
        Link link(m_visitor->token());
        // Refused, but no fault: a user may write at any time.
        link.send({{"type", "chat"}, {"message", "hello"}});
        link.await("error");
        QCOMPARE(violations(), 0U);
        link.send({{"type", "interview_id"}, {"id", "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19"}});
        link.await("error");
        link.sendBinary(frame);
        link.send({{"type", "set_session"}, {"session_id", "unmade"}});
        QCOMPARE(std::string(link.await("error").at("message").as_string()), "Session not found");
        m_visitor->makeSession();
        link.send({{"type", "set_session"}, {"session_id", "machine"}});
        link.await("set_session");
        link.sendBinary(frame);
        link.send({{"type", "set_follow_ups"}, {"enabled", 1}});
        link.await("error");
        const auto frames = m_stand->state().at("frames").as_object();
        QCOMPARE(frames.at("before_session").to_number<int>(), 1);
        QCOMPARE(frames.at("without_interview").to_number<int>(), 1);
        QCOMPARE(violations(), 4U);
    }

    void noticesWhatTheProgramMustNotSend() {
        const QByteArray form = "identifier=a%40example.com&strategy=email_code";
        const platform::HttpHeader key{"Clerk-Publishable-Key", m_visitor->publishableKey.toLatin1()};
        const auto isNoticed = [&](const QByteArray& query, QList<platform::HttpHeader> headers,
                                   const QByteArray& body) {
            headers.append(platform::HttpHeader{"Content-Type", "application/x-www-form-urlencoded"});
            const QUrl url("https://clerk.live.lumetra.test/v1/client/sign_ins" + query);
            const auto before = violations();
            try {
                ::waitFor(m_visitor->http->execute(
                    {.method = "POST", .url = url, .headers = headers, .body = body}));
            } catch (const platform::HttpError&) {
            }
            return violations() == before + 1;
        };
        QVERIFY(!isNoticed("", {key}, form));
        QVERIFY(isNoticed("", {}, form));
        QVERIFY(isNoticed("", {key, {"Authorization", "x"}}, form));
        QVERIFY(isNoticed("?a=b", {key}, form));
        QVERIFY(isNoticed("", {key, {"Cookie", "__client=a; b=c"}}, form));
        QVERIFY(isNoticed("", {key}, "strategy=email_code&identifier=a@example.com"));
        QVERIFY(isNoticed("", {key}, form + "&x=y"));
    }

private:
    std::optional<Sandbox> m_stand;
    std::optional<Visitor> m_visitor;
    object figures(const char* side) const {
        return m_stand->state().at("interviews").at(0).at(side).as_object();
    }
    std::size_t violations() const { return m_stand->violations().size(); }
};

QTEST_GUILESS_MAIN(SandboxTest)
#include "SandboxTest.moc"
