#include "Visitor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

using namespace sandbox;

namespace {

std::string firstCode(const RawAnswer& answer) {
    const auto body = answer.json();
    const auto* errors = body.if_contains("errors");
    return errors == nullptr ? std::string() : std::string(errors->at(0).at("code").as_string());
}

const std::string signIns = "/v1/client/sign_ins";

} // namespace

class SignInServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void handsTheClientTokenOutInEveryForm() {
        Sandbox stand;
        Visitor visitor(stand, false);
        std::vector<std::string> forms;
        for (int i = 0; i < 4; ++i) {
            const auto answer = visitor.post(signIns, signInForm);
            const auto cookies = answer.all("Set-Cookie");
            const auto authorization = answer.all("Authorization");
            QVERIFY(clientToken(answer).starts_with("ct_"));
            forms.push_back(cookies.empty() ? authorization.at(0).substr(0, 3)
                                            : std::to_string(cookies.size()));
        }
        QCOMPARE(forms, (std::vector<std::string>{"ct_", "2", "Bea", "1"}));
    }

    void signsIn_data() {
        QTest::addColumn<bool>("development");
        QTest::newRow("development") << true;
        QTest::newRow("production") << false;
    }
    void signsIn() {
        QFETCH(bool, development);
        Sandbox stand;
        Visitor visitor(stand, development);
        visitor.signIn();
        QCOMPARE(visitor.makeSession("m", visitor.token()).status, 201);

        const auto current = visitor.client;
        visitor.client = "ct_old";
        QCOMPARE(visitor.post("/v1/client/sessions/" + visitor.sessionId + "/tokens", "").status, 401);
        visitor.client = current;
        QCOMPARE(visitor.post("/v1/client/sessions/" + visitor.sessionId + "/remove", "").status, 200);
        QCOMPARE(visitor.post("/v1/client/sessions/" + visitor.sessionId + "/tokens", "").status, 404);
        QCOMPARE(stand.violations(), std::vector<std::string>());
    }

    void checksTheCode() {
        Sandbox stand;
        Visitor visitor(stand, true);
        const auto created = visitor.post(signIns, signInForm);
        const auto first = clientToken(created);
        const auto signIn = created.json().at("response").as_object();
        QCOMPARE(signIn.at("status").as_string(), "needs_first_factor");
        QCOMPARE(signIn.at("supported_first_factors").at(0).at("strategy").as_string(), "email_code");
        const auto attempt =
            signIns + '/' + std::string(signIn.at("id").as_string()) + "/attempt_first_factor";

        QCOMPARE(visitor.post(attempt, "strategy=email_code&code=424242").status, 401);
        visitor.client = first;
        QCOMPARE(firstCode(visitor.post(attempt, "strategy=email_code&code=424243")), "form_code_incorrect");
        const auto done = visitor.post(attempt, "strategy=email_code&code=424242");
        QCOMPARE(done.json().at("response").at("status").as_string(), "complete");
        QVERIFY(clientToken(done) != first);
        QCOMPARE(visitor.post(attempt, "strategy=email_code&code=424242").status, 401);
    }

    void knowsItsAccounts_data() {
        QTest::addColumn<std::string>("identifier");
        QTest::addColumn<std::string>("outcome");
        QTest::newRow("unknown") << std::string("nobody%40example.com")
                                 << std::string("form_identifier_not_found");
        QTest::newRow("foreign") << std::string("a%40elsewhere.test")
                                 << std::string("form_identifier_not_found");
        QTest::newRow("no address") << std::string("someone") << std::string("form_param_format_invalid");
        QTest::newRow("password") << std::string("password%40example.com") << std::string("password");
        QTest::newRow("plus sign") << std::string("a%2Bb%40example.org") << std::string("email_code");
    }
    void knowsItsAccounts() {
        QFETCH(std::string, identifier);
        QFETCH(std::string, outcome);
        Sandbox stand;
        const auto answer =
            Visitor(stand, false).post(signIns, "strategy=email_code&identifier=" + identifier);
        const auto factor = [&] {
            return std::string(
                answer.json().at("response").at("supported_first_factors").at(0).at("strategy").as_string());
        };
        QCOMPARE(answer.status == 200 ? factor() : firstCode(answer), outcome);
    }

    void refusesWhatTheProgramMustNotSend_data() {
        QTest::addColumn<bool>("development");
        QTest::addColumn<std::string>("query");
        QTest::addColumn<std::string>("header");
        QTest::addColumn<std::string>("value");
        QTest::addColumn<std::string>("form");
        const std::string none;
        const std::string type = "Content-Type";
        QTest::newRow("no key") << false << none << std::string("Clerk-Publishable-Key") << none
                                << signInForm;
        QTest::newRow("authorization")
            << false << none << std::string("Authorization") << std::string("x") << signInForm;
        QTest::newRow("type") << false << none << type << formType + "; charset=utf-8" << signInForm;
        QTest::newRow("query in production") << false << std::string("?a=b") << none << none << signInForm;
        QTest::newRow("no dev browser") << true << none << none << none << signInForm;
        QTest::newRow("cookies") << false << none << std::string("Cookie") << std::string("__client=a; b=c")
                                 << signInForm;
        QTest::newRow("plain at") << false << none << none << none
                                  << std::string("strategy=email_code&identifier=a@example.com");
        QTest::newRow("lower-case escape")
            << false << none << none << none
            << std::string("strategy=email_code&identifier=a%2bb%40example.com");
        QTest::newRow("needless escape") << false << none << none << none
                                         << std::string("strategy=email%5Fcode&identifier=a%40example.com");
        QTest::newRow("extra field") << false << none << none << none << signInForm + "&x=y";
        QTest::newRow("strategy") << false << none << none << none
                                  << std::string("strategy=password&identifier=a%40example.com");
    }
    void refusesWhatTheProgramMustNotSend() {
        QFETCH(bool, development);
        QFETCH(std::string, query);
        QFETCH(std::string, header);
        QFETCH(std::string, value);
        QFETCH(std::string, form);
        Sandbox stand;
        Visitor visitor(stand, development);
        auto headers = visitor.headers();
        std::erase_if(headers, [&](const auto& h) { return h.first == header; });
        if (!value.empty()) {
            headers.emplace_back(header, value);
        }
        const auto answer = request(visitor.signInRoute(), "POST", signIns + query, headers, form);
        QCOMPARE(answer.status, 400);
        QCOMPARE(stand.violations().size(), std::size_t(1));
    }

    void knowsTheBrowserThatIsSignedIn() {
        Sandbox stand;
        Visitor visitor(stand, true);
        visitor.signIn();
        visitor.client.clear();
        QCOMPARE(firstCode(visitor.post(signIns, signInForm)), "session_exists");
        QCOMPARE(Visitor(stand, true).post(signIns, signInForm).status, 200);
        visitor.devBrowser = "dvb_unknown";
        QCOMPARE(firstCode(visitor.post(signIns, signInForm)), "client_state_invalid");
    }

    void failsAsAskedAndThenWorks() {
        Sandbox stand;
        Visitor visitor(stand, false);
        stand.apply("fail-sign-in", {{"code", "identifier_already_signed_in"}});
        QCOMPARE(firstCode(visitor.post(signIns, signInForm)), "identifier_already_signed_in");
        visitor.signIn();
        stand.apply("fail-token", {{"status", 401}, {"times", 2}});
        const auto tokens = "/v1/client/sessions/" + visitor.sessionId + "/tokens";
        QCOMPARE(visitor.post(tokens, "").status, 401);
        QCOMPARE(visitor.post(tokens, "").status, 401);
        QCOMPARE(visitor.post(tokens, "").status, 200);
        stand.apply("end-sign-ins");
        QCOMPARE(visitor.post(tokens, "").status, 404);
    }

    void remembersAcrossARestart() {
        QTemporaryDir folder;
        Options options;
        options.folder = folder.path().toStdString();
        std::optional<Sandbox> stand(std::in_place, options);
        Visitor before(*stand, true);
        before.signIn();
        QFile authority(folder.filePath(QStringLiteral("ca.pem")));
        QVERIFY(authority.open(QIODevice::ReadOnly));
        const auto certificate = authority.readAll();
        stand.reset();

        stand.emplace(options);
        authority.seek(0);
        QCOMPARE(authority.readAll(), certificate);
        QCOMPARE(before.makeSession("m", before.token()).status, 201);
        for (const auto& file : QDir(folder.path()).entryInfoList(QDir::Files)) {
            QVERIFY2(!(file.permissions() & (QFile::ReadGroup | QFile::ReadOther)),
                     qPrintable(file.fileName()));
        }
    }

    void showsFaultyCertificates_data() {
        QTest::addColumn<std::string>("kind");
        for (const char* kind : {"other_name", "expired", "unknown_issuer"}) {
            QTest::newRow(kind) << std::string(kind);
        }
    }
    void showsFaultyCertificates() {
        QFETCH(std::string, kind);
        Sandbox stand;
        Visitor visitor(stand, false);
        stand.apply("certificate", {{"kind", kind}});
        QVERIFY_EXCEPTION_THROWN(visitor.post(signIns, signInForm), std::runtime_error);
        stand.apply("cure");
        QCOMPARE(visitor.post(signIns, signInForm).status, 200);
    }

    void proxyReachesNothingElse() {
        Sandbox stand;
        const auto& a = stand.addresses();
        const auto file = a.certificateFile.string();
        for (const char* host : {"example.com", "clerk.lumetra.test:8443", "127.0.0.1:22"}) {
            try {
                request(Route::byProxy(a.proxy, host, file), "GET", "/", {}, "");
                QFAIL("a tunnel to a foreign host");
            } catch (const std::runtime_error& error) {
                QCOMPARE(std::string(error.what()), "proxy 403");
            }
        }
        const auto direct = Route::direct(a.backendTls, file);
        QCOMPARE(request(direct, "GET", "/nothing", {}, "").status, 404);
        QCOMPARE(request(Route::byProxy(a.proxy, direct.host, file), "GET", "/nothing", {}, "").status, 404);
        QCOMPARE(request(Route::direct(a.backendPlain), "GET", "/nothing", {}, "").status, 404);
    }
};

QTEST_GUILESS_MAIN(SignInServiceTest)
#include "SignInServiceTest.moc"
