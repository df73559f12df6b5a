#include "Models/AudioModels.h"
#include "Models/ChatModels.h"
#include "Models/ClerkModels.h"
#include "Models/InterviewModels.h"
#include "Utilities/Json.h"
#include "tests/Support/Rows.h"

#include <functional>

#include <QRegularExpression>

using namespace corvane;

namespace {

// Reads a record and writes it again.
template<typename Record>
boost::json::object again(const boost::json::value& json) {
    return Record::fromJson(json).toJson();
}
using Again = std::function<boost::json::object(const boost::json::value&)>;

bool isRefused(const Again& readAgain, const boost::json::value& json) {
    try {
        readAgain(json);
        return false;
    } catch (const json::DecodingError&) {
        return true;
    }
}

const QByteArray file = R"({"id":"f","name":"a.png","type":"image/png","base64":"AA==","size":1})";
const QByteArray message =
    R"({"id":"msg_1","conversation_id":"conv_1","role":"system","content":"x","timestamp":1})";

// What the record gives back as JSON, or "error".
template<typename Record>
QByteArray decoded(const QByteArray& text) {
    try {
        return json::serialize(Record::fromJson(json::parse(text)).toJson());
    } catch (const json::DecodingError&) {
        return "error";
    }
}

using SignInEnvelope = ClerkEnvelope<ClerkSignIn>;

// Every field of every record that an envelope can hold.
const QByteArray fullEnvelope =
    R"({"response":{"id":"sia_1","status":"complete",)"
    R"("supported_first_factors":[{"strategy":"email_code","email_address_id":"idn_1"},{"strategy":"password"}],)"
    R"("created_session_id":"sess_1","identifier":"é@b.c"},)"
    R"("client":{"id":"client_1","sign_in":{"id":"sia_0","status":"abandoned"},)"
    R"("sessions":[{"id":"sess_0","status":"active","user_id":"user_1","last_active_at":1700000000000}],)"
    R"("last_active_session_id":"sess_0"}})";

} // namespace

class ModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void newIdsAreRandomAndFitIntoAStatement() {
        for (const auto& [newID, form] : {std::pair(&Conversation::newID, "^conv_[0-9a-f]{32}$"),
                                          {&ChatMessage::newID, "^msg_[0-9a-f]{32}$"}}) {
            const auto id = newID();
            QVERIFY2(QRegularExpression(form).match(id).hasMatch(), qPrintable(id));
            QVERIFY(newID() != id);
        }
    }

    void recordsAreStrict_data() {
        const auto row = rows<Again, QByteArray>();
        row("Conversation", again<Conversation>,
            R"({"id":"conv_1","title":"New Chat","created_at":1,"updated_at":1700000000123})");
        row("ChatMessage", again<ChatMessage>, message);
        row("AttachedFile", again<AttachedFile>, file);
        row("SystemPrompt", again<SystemPrompt>,
            R"({"id":1,"name":"n","prompt":"p","created_at":"2024-01-01 00:00:00","updated_at":""})");
        row("VadConfig", again<VadConfig>,
            R"({"enabled":true,"hopSize":1024,"sensitivityRMS":1.2E-2,"peakThreshold":3.5E-2,)"
            R"("silenceChunks":45,"minSpeechChunks":7,"preSpeechChunks":12,"noiseGateThreshold":3E-3,)"
            R"("maxRecordingDurationSecs":180})");
    }
    void recordsAreStrict() {
        const auto [readAgain, text] = currentRow<Again, QByteArray>();
        const auto document = json::parse(text);
        QCOMPARE(json::serialize(readAgain(document)), text);
        for (const auto& member : document.as_object()) {
            auto changed = document.as_object();
            changed.erase(member.key());
            QVERIFY2(isRefused(readAgain, changed), member.key_c_str());
            changed[member.key()] = nullptr;
            QVERIFY2(isRefused(readAgain, changed), member.key_c_str());
            changed[member.key()] = boost::json::array();
            QVERIFY2(isRefused(readAgain, changed), member.key_c_str());
        }
        QVERIFY(isRefused(readAgain, boost::json::array()));
    }

    void valuesThatDoNotFitAreRefused() {
        const auto config = interviewVadConfig.toJson();
        QCOMPARE(VadConfig::fromJson(config), interviewVadConfig);
        for (const auto& [key, number] :
             {std::pair("hopSize", 1.5), std::pair("silenceChunks", 3e9), std::pair("peakThreshold", 1e39),
              std::pair("noiseGateThreshold", std::nan(""))}) {
            auto changed = config;
            changed[key] = number;
            QVERIFY2(isRefused(again<VadConfig>, changed), key);
        }
        auto document = json::parse(message).as_object();
        document["role"] = "User";
        QVERIFY(isRefused(again<ChatMessage>, document));
    }

    void attachmentsAreReadFromTheirText() {
        ChatMessage owner;
        const auto count = [&](const QByteArray& text) {
            owner.attachedFiles = QString::fromUtf8(text);
            return static_cast<int>(owner.decodedAttachments().size());
        };
        QVERIFY(owner.decodedAttachments().isEmpty());
        QCOMPARE(count('[' + file + ',' + file + ']'), 2);
        QCOMPARE(ChatMessage::fromJson(owner.toJson()), owner);
        for (const auto& text : {file, '[' + file + ",{}]", QByteArray("["), QByteArray()}) {
            QCOMPARE(count(text), 0);
        }
    }

    void decodesAndEncodesWithTheSameKeys() {
        QCOMPARE(decoded<SignInEnvelope>(fullEnvelope), fullEnvelope);
        const QByteArray token = R"({"jwt":"a.b.c","object":"token"})";
        QCOMPARE(decoded<ClerkTokenResponse>(token), token);
        const QByteArray refusal = R"({"errors":[{"code":"a","message":"b","long_message":"c"}]})";
        QCOMPARE(decoded<ClerkAPIError>(refusal), refusal);
        const QByteArray address = R"({"id":"idn_1","email_address":"a@b.c"})";
        QCOMPARE(decoded<ClerkEmailAddress>(address), address);
    }

    void decodesStrictly() {
        const auto isGood = [](const QByteArray& text) { return decoded<SignInEnvelope>(text) != "error"; };
        const QByteArray least = R"("id":"a","status":"needs_first_factor")";
        const auto session = [&](const QByteArray& fields) {
            return R"({"response":{)" + least + R"(},"client":{"sessions":[{)" + fields + "}]}}";
        };
        for (const QByteArray more :
             {"", R"(,"x":[1])", R"(,"identifier":null,"supported_first_factors":null)"}) {
            QVERIFY2(isGood(R"({"response":{)" + least + more + "}}"), more);
        }
        QVERIFY(isGood(R"({"response":{)" + least + R"(},"client":null,"y":{}})"));
        QVERIFY(isGood(session(R"("id":"a","status":"b","last_active_at":null)")));
        for (const QByteArray response :
             {R"("status":"complete")", R"("id":null,"status":"complete")", R"("id":1,"status":"complete")",
              R"("id":"a","status":"Complete")", R"("id":"a")",
              R"("id":"a","status":"complete","supported_first_factors":{})",
              R"("id":"a","status":"complete","supported_first_factors":[{}])",
              R"("id":"a","status":"complete","identifier":false)"}) {
            QVERIFY2(!isGood(R"({"response":{)" + response + "}}"), response);
        }
        for (const QByteArray value : {"1.5", "\"1\"", "true"}) {
            QVERIFY2(!isGood(session(R"("id":"a","status":"b","last_active_at":)" + value)), value);
        }
        const auto badClient = R"({"response":{)" + least + R"(},"client":[]})";
        for (const auto& text : QByteArrayList{session(R"("id":"a")"), badClient, "{}", "[]"}) {
            QVERIFY2(!isGood(text), text);
        }
        QCOMPARE(decoded<ClerkTokenResponse>(R"({"jwt":1})"), "error");
        QCOMPARE(decoded<ClerkAPIError>(R"({"errors":null})"), "error");
        QCOMPARE(decoded<ClerkAPIError>(R"({"errors":[{"code":"a"}]})"), "error");
    }

    void topicsParse_data() {
        const auto row = rows<QByteArray, QString, QString>();
        row("one element that is not an object drops the topic",
            R"({"Design":[{"question":"Why?"},7],"Teamwork":[{"question":"Who?"}]})", "Teamwork/Who?/;",
            "Teamwork: Who?;");
        row("an element without a question drops alone",
            R"({"D":[{"question":"Why?","justification":"Depth"},{"text":"x"},{"question":null}]})",
            "D/Why?/Depth;", "D: Why?;");
        row("a value that is not an array", R"({"Design":"text"})", "", "");
        row("a topic without questions stays in the plan", R"({"Design":[]})", "", "Design: ;");
        row("a justification of another kind is empty",
            R"({"D":[{"question":"a","justification":null},{"question":"b","justification":3}]})",
            "D/a/;D/b/;", "D: a|b;");
        row("in the order of the document", R"({"Z":[{"question":"a"}],"A":[{"question":"b"}],"M":[]})",
            "Z/a/;A/b/;", "Z: a;A: b;M: ;");
    }
    void topicsParse() {
        const auto [document, questions, plan] = currentRow<QByteArray, QString, QString>();
        const auto object = json::parse(document).as_object();
        QString found;
        for (const auto& row : InterviewQuestion::parse(object)) {
            found += row.topic + u'/' + row.question + u'/' + row.justification + u';';
        }
        QCOMPARE(found, questions);
        found.clear();
        for (const auto& row : InterviewPlanTopic::parse(object)) {
            found += row.topic + ": " + row.questions.join(u'|') + u';';
        }
        QCOMPARE(found, plan);
    }

    void displayTextIsClean() {
        for (const auto& [text, clean] :
             {std::pair<QString, QString>("System design [Senior] ( )", "System design"),
              {"A [x] B", "A B"},
              {"  a \n\n b  c ", "a b c"},
              {"a [b", "a [b"},
              {"[a[b]c]", "c]"},
              {"a (b)", "a (b)"},
              {u"a\u00a0[b]"_qs, "a"}}) {
            QCOMPARE(InterviewQuestion::cleanDisplayText(text), clean);
        }
    }
};

QTEST_GUILESS_MAIN(ModelsTest)
#include "ModelsTest.moc"
