#include "ClerkModels.h"

#include <QTest>

namespace {

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

    void aRefusalSpeaksByItsFirstItemAndIsSearchedWhole() {
        const ClerkAPIError error({{"a", "first", std::nullopt}, {"b", "second", std::nullopt}});
        QCOMPARE(error.what(), "first");
        QVERIFY(error.hasCode("b") && !error.hasCode("second"));
        QVERIFY(*ClerkAPIError({}).what() != '\0');
    }
};

QTEST_GUILESS_MAIN(ClerkModelsTest)
#include "ClerkModelsTest.moc"
