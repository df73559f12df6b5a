#include "tests/Services/Identity/IdentityFixture.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Rows.h"

#include <QSignalSpy>

using namespace corvane;

using platform::Secret;
using namespace std::chrono_literals;
using Status = platform::SecretStore::Status;
using Error = ClerkAuthService::Error;

namespace {

const QString email = QStringLiteral("a@b.c");
const Secret code("424242");
const QString notSignedIn = QString::fromLatin1(Error(Error::notSignedIn).what());
const QString noEmailCode = QString::fromLatin1(Error(Error::emailCodeNotSupported).what());
const QString didNotComplete = QString::fromLatin1(Error(Error::signInDidNotComplete).what());
const QString cancelled = QString::fromLatin1(platform::OperationCancelled().what());
const QStringList identity{"clerk_client_token=ct", "clerk_session_id=sess_1", "clerk_user_email=a@b.c"};

QByteArray signInBody(const QByteArray& status, const QByteArray& more) {
    return R"({"response":{"id":"sia_1","status":")" + status + "\"," + more + "}}";
}

QList<platform::HttpHeader> withToken(const QByteArray& token) {
    return {{"Authorization", "Bearer " + token}};
}

void start(IdentityFixture& f) {
    f.http.answer(200, emailCodeOffer, withToken("ct"));
    ::waitFor(f.auth->startSignIn(email));
    f.http.clearRequests();
}

QString freshJWT(IdentityFixture& f) {
    return ::waitFor(f.auth->getFreshJWT()).reveal();
}

} // namespace

class ClerkAuthServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void restoresAWholeIdentityOnly() {
        for (const char* missing : {"", "clerk_client_token", "clerk_session_id", "clerk_user_email"}) {
            SignedInFixture f;
            f.store.items.remove({f.keychain.serviceName(), missing});
            f.launch();
            QCOMPARE(f.auth->isSignedIn(), !*missing);
            QVERIFY(f.http.requests().isEmpty());
        }
    }

    void signsInWithACodeAndIsStillSignedInAfterARestart() {
        IdentityFixture f;
        QSignalSpy changes(f.auth.get(), &ClerkAuthService::stateChanged);
        start(f);
        QVERIFY(!f.auth->isSignedIn());
        QCOMPARE(f.auth->pendingEmail(), email);
        QCOMPARE(f.stored(), identity.first(1));
        f.http.answer(422, refusalFor("form_code_incorrect"));
        QCOMPARE(failureOf(f.auth->verifyCode(code)), "First.");
        QCOMPARE(f.auth->pendingSignInId(), "sia_1");

        f.http.clearRequests();
        f.http.answer(200, acceptedCode, withToken("ct2"));
        const auto jwt = sessionJWT(f.clock, 60s);
        f.http.answer(200, tokenBody(jwt));
        ::waitFor(f.auth->verifyCode(code));
        QCOMPARE(headerOf(f.http.requests().at(0), "Cookie"), "__client=ct");
        QCOMPARE(headerOf(f.http.requests().at(1), "Cookie"), "__client=ct2");
        const ClerkAuthService::State signedIn = ClerkAuthService::SignedIn{email, "sess_1"};
        QCOMPARE(f.auth->state(), signedIn);
        QCOMPARE(changes.count(), 1);
        QVERIFY(!f.auth->pendingSignInId() && !f.auth->pendingEmail());
        QCOMPARE(freshJWT(f), jwt);
        QCOMPARE(f.http.requests().size(), 2);
        f.launch();
        QCOMPARE(f.auth->state(), signedIn);
    }

    void refusesAnUnfinishedSignIn() {
        for (const auto& answer : {signInBody("needs_second_factor", R"("created_session_id":"sess_1")"),
                                   signInBody("complete", R"("identifier":"a")")}) {
            IdentityFixture f;
            QCOMPARE(failureOf(f.auth->verifyCode(code)), didNotComplete);
            start(f);
            f.http.answer(200, answer, withToken("other"));
            QCOMPARE(failureOf(f.auth->verifyCode(code)), didNotComplete);
            QVERIFY(!f.auth->isSignedIn() && f.auth->pendingSignInId());
            QCOMPARE(f.stored(), identity.first(1));
        }
    }

    void needsTheEmailCodeFactor() {
        for (const auto* more :
             {R"("identifier":"a")", R"("supported_first_factors":[{"strategy":"password"}])"}) {
            IdentityFixture f;
            f.put("clerk_client_token", "kept");
            f.http.answer(200, signInBody("needs_first_factor", more), withToken("ct"));
            QCOMPARE(failureOf(f.auth->startSignIn(email)), noEmailCode);
            QCOMPARE(f.stored(), QStringList{"clerk_client_token=kept"});
            QVERIFY(!f.auth->pendingSignInId());
        }
    }

    void forgetsAStaleIdentityAndTriesOnceMore() {
        for (const auto& [reason, retries] : {std::pair("session_exists", true),
                                              {"identifier_already_signed_in", true},
                                              {"client_state_invalid", true},
                                              {"form_identifier_not_found", false}}) {
            const LogCapture log;
            IdentityFixture f;
            f.put("clerk_dev_browser_jwt", "db");
            f.launchSignedIn();
            f.http.answer(422, refusalFor(reason));
            f.http.answer(422, refusalFor("session_exists"));
            QVERIFY(!failureOf(f.auth->startSignIn(email)).isEmpty());
            QCOMPARE(log.count("[ClerkAuth] session_exists on createSignIn — clearing dev-browser token and "
                               "retrying once"),
                     retries ? 1 : 0);
            QCOMPARE(f.http.requests().size(), retries ? 2 : 1);
            QCOMPARE(f.auth->isSignedIn(), !retries);
            QCOMPARE(f.store.items.isEmpty(), retries);
            if (retries) {
                f.http.answer(422, refusalFor(reason));
                f.http.answer(200, emailCodeOffer); // no token: the empty one is stored
                ::waitFor(f.auth->startSignIn(email));
                QCOMPARE(f.auth->pendingEmail(), email);
                QCOMPARE(f.stored(), QStringList{"clerk_client_token="});
            }
        }
    }

    void servesTheCachedTokenWhileItIsFresh() {
        const FakeClock clock;
        for (const auto& [cached, fetches] :
             {std::pair(sessionJWT(clock, 15s), false), {sessionJWT(clock, 14s), true}, {"a.b", true}}) {
            SignedInFixture f;
            f.http.answer(200, tokenBody(cached));
            freshJWT(f);
            f.http.answer(200, tokenBody("new"));
            QCOMPARE(freshJWT(f), fetches ? "new" : cached);
            QCOMPARE(f.http.requests().size(), fetches ? 2 : 1);
            f.http.answer(200, tokenBody("newer"));
            QCOMPARE(freshJWT(f), fetches ? "newer" : cached);
        }
    }

    void aFailedTokenRequestKeepsTheIdentityAndTheCache() {
        IdentityFixture f;
        QCOMPARE(failureOf(f.auth->getFreshJWT()), notSignedIn);
        f.launchSignedIn();
        f.http.answer(200, tokenBody(sessionJWT(f.clock, 60s)));
        const auto jwt = freshJWT(f);
        f.clock.jump(50s);
        f.http.answer(401, refusalFor("authentication_invalid"));
        QCOMPARE(failureOf(f.auth->getFreshJWT()), "First.");
        QVERIFY(f.auth->isSignedIn());
        f.clock.jump(-50s);
        QCOMPARE(freshJWT(f), jwt);
        f.auth->invalidateCachedJWT();
        f.http.answer(200, tokenBody("new"));
        QCOMPARE(freshJWT(f), "new");
    }

    void concurrentFetchesLeaveTheLaterToken() {
        SignedInFixture f;
        const auto late = sessionJWT(f.clock, 60s, "late");
        f.http.setHeld(true);
        f.http.answer(200, tokenBody(late));
        f.http.answer(200, tokenBody(sessionJWT(f.clock, 60s, "early")));
        auto first = f.auth->getFreshJWT();
        auto second = f.auth->getFreshJWT();
        f.http.release(1);
        ::waitFor(std::move(second));
        f.http.setHeld(false);
        ::waitFor(std::move(first));
        QCOMPARE(freshJWT(f), late);
    }

    void signsOutWithOrWithoutTheService() {
        for (const int status : {200, 500, 0}) {
            IdentityFixture f;
            f.put("clerk_dev_browser_jwt", "db");
            f.launchSignedIn(developmentKey);
            if (status) {
                f.http.answer(status);
            } else {
                f.http.fail(platform::HttpError::Kind::cannotConnect);
            }
            ::waitFor(f.auth->signOut());
            QVERIFY(!f.auth->isSignedIn() && f.store.items.isEmpty());
            QCOMPARE(f.http.requests().size(), 1);
            QCOMPARE(f.http.requests().at(0).url.path(), "/v1/client/sessions/sess_1/remove");

            // Signed out, it clears what is pending.
            f.http.answer(200, R"({"token":"db"})");
            start(f);
            ::waitFor(f.auth->signOut());
            QVERIFY(f.http.requests().isEmpty() && f.store.items.isEmpty());
            QVERIFY(!f.auth->pendingSignInId() && !f.auth->pendingEmail());
        }
    }

    void nothingThatComesBackAfterASignOutTakesEffect() {
        SignedInFixture f;
        f.http.setHeld(true);
        f.http.answer(200, tokenBody(sessionJWT(f.clock, 60s)));
        f.http.answer(200);
        auto late = f.auth->getFreshJWT();
        auto signingOut = f.auth->signOut();
        f.http.release(1);
        ::waitFor(std::move(signingOut));
        f.http.release(0);
        QCOMPARE(failureOf(std::move(late)), notSignedIn);
        f.http.setHeld(false);

        start(f);
        f.http.setHeld(true);
        f.http.answer(200, acceptedCode, withToken("late"));
        auto verifying = f.auth->verifyCode(code);
        ::waitFor(f.auth->signOut());
        f.http.setHeld(false);
        QCOMPARE(failureOf(std::move(verifying)), cancelled);
        QVERIFY(!f.auth->isSignedIn() && f.store.items.isEmpty());

        f.http.setHeld(true);
        f.http.answer(200, emailCodeOffer, withToken("late"));
        auto starting = f.auth->startSignIn(email);
        ::waitFor(f.auth->signOut());
        f.http.setHeld(false);
        QCOMPARE(failureOf(std::move(starting)), cancelled);
        QVERIFY(!f.auth->pendingSignInId() && f.store.items.isEmpty());
    }

    void theNextUserGetsATokenOfTheirOwn() {
        IdentityFixture f;
        start(f);
        f.http.setHeld(true);
        f.http.answer(200, acceptedCode);
        f.http.answer(200, tokenBody(sessionJWT(f.clock, 60s, "late")));
        auto first = f.auth->verifyCode(code);
        f.http.release();
        QVERIFY(waitUntil([&] { return f.http.heldCount() == 1; })); // the first user's token is on its way
        f.http.answer(500);
        auto leaving = f.auth->signOut();
        f.http.release(1);
        ::waitFor(std::move(leaving));
        f.http.answer(200, emailCodeOffer);
        auto starting = f.auth->startSignIn("next@b.c");
        f.http.release(1);
        ::waitFor(std::move(starting));
        f.http.answer(200, acceptedCode);
        f.http.fail(platform::HttpError::Kind::timedOut);
        auto second = f.auth->verifyCode(code);
        f.http.release(1);
        QVERIFY(waitUntil([&] { return f.http.heldCount() == 2; }));
        f.http.setHeld(false);
        ::waitFor(std::move(first));
        ::waitFor(std::move(second));
        f.http.answer(200, tokenBody("own"));
        QCOMPARE(freshJWT(f), "own");
    }

    void ofTwoSignInsTheLaterOneCounts() {
        IdentityFixture f;
        start(f);
        f.http.setHeld(true);
        f.http.answer(200, acceptedCode, withToken("late"));
        auto left = f.auth->verifyCode(code);
        f.http.answer(200, emailCodeOffer, withToken("own"));
        auto next = f.auth->startSignIn("next@b.c");
        f.http.setHeld(false);
        QCOMPARE(failureOf(std::move(left)), cancelled);
        ::waitFor(std::move(next));
        QVERIFY(!f.auth->isSignedIn());
        QCOMPARE(f.auth->pendingEmail(), "next@b.c");
        QCOMPARE(f.stored(), QStringList{"clerk_client_token=own"});
    }

    void aStoreThatLocksDoesNotEndTheSession() {
        SignedInFixture f;
        QSignalSpy unlocked(f.auth.get(), &ClerkAuthService::storeUnlocked);
        f.store.setCondition(Status::locked);
        f.http.answer(200, tokenBody("new"));
        QCOMPARE(freshJWT(f), "new");
        f.store.setCondition(Status::ok);
        QCOMPARE(unlocked.count(), 1);
        f.store.setCondition(Status::locked);
        f.http.answer(200);
        ::waitFor(f.auth->signOut());
        QCOMPARE(f.http.requests().size(), 2);
        for (const auto& request : f.http.requests()) {
            QCOMPARE(headerOf(request, "Cookie"), "__client=ct");
        }
        f.store.setCondition(Status::ok);
        QVERIFY(f.store.items.isEmpty());
    }

    void aTokenIsRefusedOrUnavailable_data() {
        const auto row = rows<int, QByteArray, bool>();
        row("session ended", 404, refusalFor("resource_not_found"), true);
        row("unauthorized page", 401, "<html>", true);
        row("too many", 429, refusalFor("too_many_requests"), false);
        row("out of order", 503, refusalFor("internal"), false);
        row("page of a proxy", 200, "<html>", false);
        row("network", 0, {}, false);
    }
    void aTokenIsRefusedOrUnavailable() {
        const auto [status, body, refused] = currentRow<int, QByteArray, bool>();
        SignedInFixture f;
        if (status) {
            f.http.answer(status, body);
        } else {
            f.http.fail(platform::HttpError::Kind::timedOut);
        }
        for (const bool signedIn : {true, false}) {
            try {
                ::waitFor(f.auth->getFreshJWT());
                QFAIL("a token");
            } catch (...) {
                const auto failure = ClerkAuthService::tokenFailure(std::current_exception());
                QCOMPARE(failure == ClerkAuthService::TokenFailure::refused, refused || !signedIn);
            }
            ::waitFor(f.auth->signOut());
        }
    }

    void anUnlockBringsNothingBackThatTheUserLeft() {
        for (const auto& [condition, signsOut] : {std::pair(Status::locked, true),
                                                  {Status::locked, false},
                                                  {Status::absent, true},
                                                  {Status::absent, false}}) {
            IdentityFixture f;
            f.store.setCondition(condition);
            f.launchSignedIn();
            if (signsOut) {
                ::waitFor(f.auth->signOut());
            } else {
                start(f);
            }
            f.store.setCondition(Status::ok);
            QVERIFY(!f.auth->isSignedIn());
            f.launch();
            QVERIFY(!f.auth->isSignedIn());
            QCOMPARE(f.stored(), signsOut ? QStringList() : identity.first(1));
        }
        // The same while the answer to a sign-in is on its way, unless that comes to nothing.
        for (const int status : {200, 422}) {
            IdentityFixture f;
            f.store.setCondition(Status::locked);
            f.launchSignedIn();
            f.http.answer(status, status == 200 ? emailCodeOffer : refusalFor("form_param_format_invalid"),
                          withToken("ct"));
            f.http.setHeld(true);
            auto starting = f.auth->startSignIn(email);
            f.store.setCondition(Status::ok);
            QVERIFY(!f.auth->isSignedIn());
            f.http.setHeld(false);
            QCOMPARE(failureOf(std::move(starting)).isEmpty(), status == 200);
            QCOMPARE(f.auth->pendingEmail().has_value(), status == 200);
            QCOMPARE(f.auth->isSignedIn(), status != 200);
        }
    }

    void aLockedStoreIsUnlockedOnlyWhenTheUserAsks() {
        using State = ClerkAuthService::StoreState;
        IdentityFixture f;
        f.auth->unlockStore();
        f.store.setCondition(Status::locked);
        f.launchSignedIn();
        QCOMPARE(f.auth->storeState(), State::locked);
        QVERIFY(!f.auth->isSignedIn() && f.store.calls.isEmpty());
        QSignalSpy changes(f.auth.get(), &ClerkAuthService::stateChanged);
        f.auth->unlockStore();
        f.auth->unlockStore();
        QCOMPARE(f.store.calls, QStringList{"unlock"});
        QCOMPARE(f.auth->storeState(), State::unlocking);
        f.store.declineUnlocking();
        QCOMPARE(f.auth->storeState(), State::locked);
        f.auth->unlockStore();
        f.store.setCondition(Status::ok);
        QCOMPARE(f.auth->storeState(), State::readable);
        QVERIFY(f.auth->isSignedIn());
        QCOMPARE(changes.count(), 1);

        // Another user signs in: what is locked is not theirs.
        f.store.setCondition(Status::locked);
        f.launch();
        start(f);
        QCOMPARE(f.auth->storeState(), State::readable);
    }

    void noSecretReachesTheLog() {
        const LogCapture log;
        IdentityFixture f(developmentKey);
        const auto jwt = sessionJWT(f.clock, 60s);
        f.http.answer(200, R"({"token":"devbrowsersecret"})");
        f.http.answer(422, refusalFor("session_exists"));
        f.http.answer(200, R"({"token":"devbrowsersecret"})");
        f.http.answer(200, emailCodeOffer, withToken("clienttokensecret"));
        ::waitFor(f.auth->startSignIn(email));
        f.http.answer(200, acceptedCode);
        f.http.answer(200, tokenBody(jwt));
        ::waitFor(f.auth->verifyCode(code));
        f.http.answer(500, "clienttokensecret");
        ::waitFor(f.auth->signOut());
        QCOMPARE(log.lines().size(), 1);
        for (const auto& secret : QStringList{"secret", code.reveal(), jwt, developmentKey}) {
            QVERIFY(!log.contains(secret));
        }
    }

    void aServiceThatDiesWhileItWaitsIsNotTouched() {
        SignedInFixture f;
        f.http.setHeld(true);
        f.http.answer(200, tokenBody("late"));
        f.http.answer(200);
        f.http.answer(200, emailCodeOffer);
        auto fetching = f.auth->getFreshJWT();
        auto signingOut = f.auth->signOut();
        auto starting = f.auth->startSignIn(email);
        f.auth.reset();
        f.http.setHeld(false);
        QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(fetching)), Error);
        ::waitFor(std::move(signingOut));
        QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(starting)), platform::OperationCancelled);
        QCOMPARE(f.stored(), identity);
    }

    void onlyUtf8GoesInAndComesOut() {
        MemorySecretStore store;
        KeychainService keychain(service, store);
        store.items.insert({service, key}, "a\xff");
        QVERIFY(!keychain.get(key));
        store.items.insert({service, key}, "");
        QCOMPARE(keychain.get(key), Secret(QLatin1String("")));
        keychain.save(key, Secret("kept"));
        keychain.save(key, Secret(QString(QChar(0xD800))));
        QCOMPARE(keychain.get(key), Secret("kept"));
    }

private:
    const QString service = QStringLiteral("com.corvane.interview-assistant");
    const QString key = QStringLiteral("clerk_client_token");
};

QTEST_GUILESS_MAIN(ClerkAuthServiceTest)
#include "ClerkAuthServiceTest.moc"
