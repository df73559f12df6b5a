#include "Visitor.h"

using namespace sandbox;

class SignInServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void signsInAndOut() {
        for (const bool development : {true, false}) {
            const Sandbox stand;
            Visitor visitor(stand, development);
            visitor.signIn();
            QCOMPARE(visitor.makeSession("m", visitor.token()).status, 201);
            const auto current = std::exchange(visitor.client, "ct_old");
            QCOMPARE(visitor.post(visitor.session("/tokens")).status, 401);
            visitor.client = current;
            QCOMPARE(visitor.post(visitor.session("/remove")).status, 200);
            QCOMPARE(visitor.post(visitor.session("/tokens")).status, 404);
            QVERIFY(stand.violations().empty());
        }
    }

    void checksTheCode() {
        const Sandbox stand;
        Visitor visitor(stand, true);
        QCOMPARE(errorOf(visitor.post(signIns, "strategy=email_code&identifier=nobody%40example.com")),
                 "form_identifier_not_found");
        const auto created = visitor.post(signIns, signInForm);
        const std::string id(jsonOf(created.body).at("response").at("id").as_string());
        const auto attempt = signIns + '/' + QByteArray::fromStdString(id) + "/attempt_first_factor";
        QCOMPARE(visitor.post(attempt, "strategy=email_code&code=424242").status, 401);
        visitor.client = clientToken(created);
        QCOMPARE(errorOf(visitor.post(attempt, "strategy=email_code&code=424243")), "form_code_incorrect");
        QVERIFY(clientToken(visitor.post(attempt, "strategy=email_code&code=424242")) != visitor.client);
        QCOMPARE(visitor.post(attempt, "strategy=email_code&code=424242").status, 401);
    }

    void noticesWhatTheProgramMustNotSend() {
        const Sandbox stand;
        const Visitor visitor(stand, false);
        const auto isNoticed = [&](const QByteArray& query, platform::HttpHeader added,
                                   const QByteArray& form) {
            auto headers = visitor.headers();
            headers.removeIf([&](const auto& each) { return each.name == added.name; });
            headers += added.value.isEmpty() ? QList<platform::HttpHeader>() : QList{added};
            const auto before = stand.violations().size();
            try {
                request(visitor.url(signIns + query), "POST", headers, form);
            } catch (const platform::HttpError&) {
            }
            return stand.violations().size() == before + 1;
        };
        QVERIFY(isNoticed("", {"Clerk-Publishable-Key", ""}, signInForm));
        QVERIFY(isNoticed("", {"Authorization", "x"}, signInForm));
        QVERIFY(isNoticed("?a=b", {}, signInForm));
        QVERIFY(isNoticed("", {"Cookie", "__client=a; b=c"}, signInForm));
        QVERIFY(isNoticed("", {}, "strategy=email_code&identifier=a@example.com"));
        QVERIFY(isNoticed("", {}, signInForm + "&x=y"));
    }

    void failsAsAskedAndThenWorks() {
        Sandbox stand;
        Visitor visitor(stand, true);
        stand.apply("fail-sign-in", {{"code", "identifier_already_signed_in"}});
        QVERIFY_EXCEPTION_THROWN(visitor.signIn(), std::runtime_error);
        visitor.signIn();
        stand.apply("fail-token", {{"status", 401}, {"times", 2}});
        for (const int status : {401, 401, 200}) {
            QCOMPARE(visitor.post(visitor.session("/tokens")).status, status);
        }
        stand.apply("end-sign-ins");
        QCOMPARE(visitor.post(visitor.session("/tokens")).status, 404);
        for (const char* kind : {"other_name", "expired", "unknown_issuer"}) {
            stand.apply("certificate", {{"kind", kind}});
            QVERIFY_EXCEPTION_THROWN(visitor.post(signIns, signInForm), platform::HttpError);
        }
        stand.apply("cure");
        QCOMPARE(visitor.post(signIns, signInForm).status, 200);
    }
};

QTEST_GUILESS_MAIN(SignInServiceTest)
#include "SignInServiceTest.moc"
