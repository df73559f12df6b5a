#include "ChatModels.h"
#include "AudioModels.h"
#include "Json.h"

#include <QRegularExpression>
#include <QTest>

#include <functional>

namespace {

// Reads a record and writes it again.
template<typename Record>
boost::json::object again(const boost::json::value& json) {
    return Record::fromJson(json).toJson();
}

struct RecordCase {
    const char* name;
    std::function<boost::json::object(const boost::json::value&)> again;
    QByteArray document;
};

const std::vector<RecordCase>& records() {
    static const std::vector<RecordCase> all{
        {"Conversation", again<Conversation>,
         R"({"id":"conv_1","title":"New Chat","created_at":1,"updated_at":1700000000123})"},
        {"ChatMessage", again<ChatMessage>,
         R"({"id":"msg_1","conversation_id":"conv_1","role":"system","content":"x","timestamp":1})"},
        {"AttachedFile", again<AttachedFile>,
         R"({"id":"f","name":"a.png","type":"image/png","base64":"AA==","size":1})"},
        {"SystemPrompt", again<SystemPrompt>,
         R"({"id":1,"name":"n","prompt":"p","created_at":"2024-01-01 00:00:00","updated_at":""})"},
        {"VadConfig", again<VadConfig>,
         R"({"enabled":true,"hopSize":1024,"sensitivityRMS":1.2E-2,"peakThreshold":3.5E-2,"silenceChunks":45,)"
         R"("minSpeechChunks":7,"preSpeechChunks":12,"noiseGateThreshold":3E-3,"maxRecordingDurationSecs":180})"},
    };
    return all;
}

bool isRefused(const RecordCase& record, const boost::json::value& json) {
    try {
        record.again(json);
        return false;
    } catch (const json::DecodingError&) {
        return true;
    }
}

} // namespace

class ChatModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void recordsAreStrict_data() {
        QTest::addColumn<int>("index");
        for (size_t i = 0; i < records().size(); ++i) {
            QTest::newRow(records()[i].name) << static_cast<int>(i);
        }
    }
    void recordsAreStrict() {
        QFETCH(int, index);
        const auto& record = records()[static_cast<size_t>(index)];
        const auto document = json::parse(record.document);
        QCOMPARE(json::serialize(record.again(document)), record.document);
        for (const auto& member : document.as_object()) {
            auto changed = document.as_object();
            changed.erase(member.key());
            QVERIFY2(isRefused(record, changed), member.key_c_str());
            changed[member.key()] = nullptr;
            QVERIFY2(isRefused(record, changed), member.key_c_str());
            changed[member.key()] = boost::json::array();
            QVERIFY2(isRefused(record, changed), member.key_c_str());
        }
        QVERIFY(isRefused(record, boost::json::array()));
    }

    void numbersThatDoNotFitAreRefused_data() {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<double>("number");
        QTest::newRow("fraction") << "hopSize"_qba << 1.5;
        QTest::newRow("too large") << "silenceChunks"_qba << 3e9;
        QTest::newRow("no float") << "peakThreshold"_qba << 1e39;
    }
    void numbersThatDoNotFitAreRefused() {
        QFETCH(QByteArray, key);
        QFETCH(double, number);
        auto document = interviewVadConfig.toJson();
        QCOMPARE(VadConfig::fromJson(document), interviewVadConfig);
        document[key.toStdString()] = number;
        QVERIFY_EXCEPTION_THROWN(VadConfig::fromJson(document), json::DecodingError);
    }

    void aMessageHasOneOfThreeRoles() {
        auto document = json::parse(records()[1].document).as_object();
        for (const auto role : {MessageRole::user, MessageRole::assistant, MessageRole::system}) {
            document["role"] = json::toJson(rawValue(role));
            QCOMPARE(ChatMessage::fromJson(document).role, role);
        }
        document["role"] = "User";
        QVERIFY_EXCEPTION_THROWN(ChatMessage::fromJson(document), json::DecodingError);
    }

    void attachmentsAreReadFromTheirText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        const auto file = QString::fromUtf8(records()[2].document);
        QTest::newRow("two") << u'[' + file + u',' + file + u']' << 2;
        QTest::newRow("none") << "[]" << 0;
        QTest::newRow("no array") << file << 0;
        QTest::newRow("one of two broken") << u'[' + file + QStringLiteral(",{}]") << 0;
        QTest::newRow("no JSON") << "[" << 0;
        QTest::newRow("nothing") << "" << 0;
    }
    void attachmentsAreReadFromTheirText() {
        QFETCH(QString, text);
        ChatMessage message;
        QVERIFY(message.decodedAttachments().isEmpty());
        message.attachedFiles = text;
        QTEST(static_cast<int>(message.decodedAttachments().size()), "count");
        QCOMPARE(ChatMessage::fromJson(message.toJson()), message);
    }

    void idsAreNew() {
        const QRegularExpression conversation(QStringLiteral("^conv_[0-9a-f]{32}$"));
        const QRegularExpression message(QStringLiteral("^msg_[0-9a-f]{32}$"));
        QVERIFY(conversation.match(Conversation::newID()).hasMatch());
        QVERIFY(message.match(ChatMessage::newID()).hasMatch());
        QVERIFY(ChatMessage::newID() != ChatMessage::newID());
    }
};

QTEST_GUILESS_MAIN(ChatModelsTest)
#include "ChatModelsTest.moc"
