#include "ClerkModels.h"

#include <QTest>

namespace {

// What the record gives back as JSON, or the error.
template<typename Record>
QByteArray decoded(const QByteArray& text) {
    try {
        return json::serialize(Record::fromJson(json::parse(text)).toJson());
    } catch (const json::DecodingError& error) {
        return QByteArray("error: ") + error.what();
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

class ClerkModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void decodesAndEncodesWithTheSameKeys() {
        QCOMPARE(decoded<SignInEnvelope>(fullEnvelope), fullEnvelope);
        const QByteArray token = R"({"jwt":"a.b.c","object":"token"})";
        QCOMPARE(decoded<ClerkTokenResponse>(token), token);
        const QByteArray refusal = R"({"errors":[{"code":"a","message":"b","long_message":"c"}]})";
        QCOMPARE(decoded<ClerkAPIError>(refusal), refusal);
        const QByteArray address = R"({"id":"idn_1","email_address":"a@b.c"})";
        QCOMPARE(decoded<ClerkEmailAddress>(address), address);
    }

    void decodesEnvelopesStrictly_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("isGood");
        const auto good = [](const char* name, const QByteArray& text) {
            QTest::newRow(name) << text << true;
        };
        const auto bad = [](const char* name, const QByteArray& text) {
            QTest::newRow(name) << text << false;
        };
        const auto response = [](const char* fields) {
            return QByteArray(R"({"response":{)") + fields + "}}";
        };
        const auto client = [](const char* fields) {
            return QByteArray(R"({"response":{"id":"a","status":"complete"},"client":{)") + fields + "}}";
        };
        const auto session = [client](const char* fields) {
            return client((QByteArray(R"("sessions":[{)") + fields + "}]").constData());
        };
        good("least", response(R"("id":"a","status":"needs_first_factor")"));
        good("unknown keys", response(R"("id":"a","status":"needs_identifier","x":[1]})"
                                      R"(,"y":{"z":1)"));
        good("nulls", response(R"("id":"a","status":"needs_second_factor","identifier":null,)"
                               R"("supported_first_factors":null,"created_session_id":null)"));
        good("null client", QByteArray(R"({"response":{"id":"a","status":"complete"},"client":null})"));
        good("empty client", client(""));
        good("null in session", session(R"("id":"a","status":"b","last_active_at":null)"));
        bad("no id", response(R"("status":"complete")"));
        bad("null id", response(R"("id":null,"status":"complete")"));
        bad("number as id", response(R"("id":1,"status":"complete")"));
        bad("unknown status", response(R"("id":"a","status":"Complete")"));
        bad("no status", response(R"("id":"a")"));
        bad("factors no array", response(R"("id":"a","status":"complete","supported_first_factors":{})"));
        bad("factor without strategy",
            response(R"("id":"a","status":"complete","supported_first_factors":[{}])"));
        bad("boolean as text", response(R"("id":"a","status":"complete","identifier":false)"));
        bad("fraction as integer", session(R"("id":"a","status":"b","last_active_at":1.5)"));
        bad("text as integer", session(R"("id":"a","status":"b","last_active_at":"1")"));
        bad("boolean as integer", session(R"("id":"a","status":"b","last_active_at":true)"));
        bad("session without status", session(R"("id":"a")"));
        bad("bad client sign-in", client(R"("sign_in":{"id":"a","status":""})"));
        bad("client no object", QByteArray(R"({"response":{"id":"a","status":"complete"},"client":[]})"));
        bad("no response", QByteArray("{}"));
        bad("array", QByteArray("[]"));
    }
    void decodesEnvelopesStrictly() {
        QFETCH(QByteArray, text);
        const auto result = decoded<SignInEnvelope>(text);
        QFETCH(bool, isGood);
        QVERIFY2(result.startsWith("error: ") != isGood, result.constData());
    }

    void decodesTheUnwrappedAnswersStrictly() {
        QVERIFY(decoded<ClerkTokenResponse>(R"({"object":"token"})").startsWith("error: "));
        QVERIFY(decoded<ClerkTokenResponse>(R"({"jwt":1})").startsWith("error: "));
        QCOMPARE(decoded<ClerkAPIError>(R"({"errors":[]})"), R"({"errors":[]})");
        QVERIFY(decoded<ClerkAPIError>(R"({"errors":null})").startsWith("error: "));
        QVERIFY(decoded<ClerkAPIError>(R"({"errors":[{"code":"a"}]})").startsWith("error: "));
    }

    void aRefusalSpeaksByItsFirstItemAndIsSearchedWhole() {
        const ClerkAPIError error({{QStringLiteral("a"), QStringLiteral("first"), std::nullopt},
                                   {QStringLiteral("b"), QStringLiteral("second"), std::nullopt}});
        QCOMPARE(error.what(), "first");
        QVERIFY(error.hasCode(QStringLiteral("b")));
        QVERIFY(!error.hasCode(QStringLiteral("second")));
        QVERIFY(*ClerkAPIError({}).what() != '\0');
    }
};

QTEST_GUILESS_MAIN(ClerkModelsTest)
#include "ClerkModelsTest.moc"
