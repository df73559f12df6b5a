#include "ViewModels/SignInViewModel.h"
#include "tests/Services/Identity/IdentityFixture.h"
#include "tests/Support/Rows.h"

using namespace corvane;

namespace {

const QString address = QStringLiteral("a@b.c");
const QByteArray nameless = R"({"errors":[]})";

struct Card : IdentityFixture {
    SignInViewModel model{*auth};

    // Without a status, the network fails.
    void answer(int status, const QByteArray& body) {
        if (status == 0) {
            http.fail(platform::HttpError::Kind::timedOut);
        } else {
            http.answer(status, body);
        }
    }
    void goToCode() {
        http.answer(200, emailCodeOffer);
        model.setEmail(address);
        ::waitFor(model.submitEmail());
        http.clearRequests();
    }
    // Where it is, and what the red line says.
    QString face() const {
        return model.phaseName() + u':' + model.errorText() + (model.isBusy() ? "..." : "");
    }
    QString sent(qsizetype request) const {
        return QString::fromUtf8(http.requests().value(request).body.value_or(QByteArray()));
    }
};

} // namespace

class SignInViewModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anAddressIsCheckedRoughly_data() {
        const auto row = rows<QString, QString>();
        row("shortest", "a@b.c", "a%40b.c");
        row("too short", "a@b.", "");
        row("in blanks", " \ta@b.c\n", "a%40b.c");
        row("ends early", "abc.def@", "abc.def%40");
        row("no at sign", "abc.def", "");
        row("no dot", "abc@def", "");
    }
    void anAddressIsCheckedRoughly() {
        const auto [typed, sent] = currentRow<QString, QString>();
        Card card;
        card.http.answer(200, emailCodeOffer);
        card.model.setEmail(typed);
        ::waitFor(card.model.submitEmail());
        QCOMPARE(card.http.requests().size(), sent.isEmpty() ? 0 : 1);
        QVERIFY(card.sent(0).contains(sent));
        QCOMPARE(card.face(), sent.isEmpty() ? "email:Enter a valid email address." : "code:");
    }

    void aCodeHasSixDigits_data() {
        const auto row = rows<QString, QString>();
        row("six", "123456", "code=123456");
        row("in blanks", " 123456\n", "code=123456");
        row("signed", "+12345", "code=%2B12345");
        row("five", "12345", "");
        row("seven", "1234567", "");
        row("letter", "12a456", "");
    }
    void aCodeHasSixDigits() {
        const auto [typed, sent] = currentRow<QString, QString>();
        Card card;
        card.goToCode();
        card.http.answer(200, acceptedCode);
        card.model.setCode(typed);
        ::waitFor(card.model.submitCode());
        QCOMPARE(card.auth->isSignedIn(), !sent.isEmpty());
        QVERIFY(card.sent(0).contains(sent));
        QCOMPARE(card.face(), sent.isEmpty() ? "code:Enter the 6-digit code from your email." : "code:");
    }

    void answersToTheAddress_data() {
        const auto row = rows<int, QByteArray, QString>();
        row("unknown", 422, refusalFor("form_identifier_not_found"), "noAccount:");
        row("not found", 422, refusalFor("identification_not_found"), "noAccount:");
        row("refused", 422, refusalFor("form_param_format_invalid"), "email:First.");
        row("refused without a word", 422, nameless, "email:Sign-in failed.");
        row("network", 0, {}, "email:scripted failure");
    }
    void answersToTheAddress() {
        const auto [status, body, face] = currentRow<int, QByteArray, QString>();
        Card card;
        card.model.setEmail("nobody");
        ::waitFor(card.model.submitEmail()); // leaves a red line
        card.model.setEmail(address);
        card.http.setHeld(true);
        card.answer(status, body);
        auto first = card.model.submitEmail();
        QCOMPARE(card.face(), "email:...");
        ::waitFor(card.model.submitEmail()); // a second press
        card.http.setHeld(false);
        ::waitFor(std::move(first));
        QCOMPARE(card.face(), face);
        QCOMPARE(card.http.requests().size(), 1);
    }

    void answersToTheCode() {
        for (const auto& [status, body, face] :
             {std::tuple(422, refusalFor("form_code_incorrect"), "code:First."),
              {422, nameless, "code:Verification failed."},
              {0, QByteArray(), "code:scripted failure"}}) {
            Card card;
            card.goToCode();
            card.model.setCode("123456");
            card.answer(status, body);
            ::waitFor(card.model.submitCode());
            QCOMPARE(card.face(), face);
            QCOMPARE(card.model.code(), "123456");
            card.model.resetToEmail();
            QCOMPARE(card.face(), "email:");
            QCOMPARE(card.model.email() + card.model.code(), address);
        }
    }

    void anAnswerToAFaceThatWasLeftDoesNotShowOnTheNext() {
        Card card;
        card.goToCode();
        card.model.setCode("123456");
        card.http.setHeld(true);
        card.http.answer(422, refusalFor("form_code_incorrect"));
        auto late = card.model.submitCode();
        card.model.resetToEmail();
        QCOMPARE(card.face(), "email:");
        card.http.answer(200, emailCodeOffer);
        auto next = card.model.submitEmail();
        card.http.release(0);
        ::waitFor(std::move(late));
        QCOMPARE(card.face(), "email:...");
        card.http.setHeld(false);
        ::waitFor(std::move(next));
        QCOMPARE(card.face(), "code:");
    }
};

QTEST_GUILESS_MAIN(SignInViewModelTest)
#include "SignInViewModelTest.moc"
