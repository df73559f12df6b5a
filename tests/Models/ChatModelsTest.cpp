#include "ChatModels.h"
#include "AudioModels.h"
#include "Json.h"
#include "Rows.h"

#include <QRegularExpression>

#include <functional>

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

} // namespace

class ChatModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
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
             {std::pair("hopSize", 1.5), std::pair("silenceChunks", 3e9), std::pair("peakThreshold", 1e39)}) {
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

    void idsAreNew() {
        const QRegularExpression shape("^(conv|msg)_[0-9a-f]{32}$");
        QVERIFY(shape.match(Conversation::newID()).hasMatch() &&
                shape.match(ChatMessage::newID()).hasMatch());
        QVERIFY(ChatMessage::newID() != ChatMessage::newID());
    }
};

QTEST_GUILESS_MAIN(ChatModelsTest)
#include "ChatModelsTest.moc"
