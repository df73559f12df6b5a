// The sign-in service's frontend API as a native program uses it: a development and a production instance.
#pragma once

#include "sandbox/Faults.h"
#include "sandbox/Http.h"
#include "sandbox/Ledger.h"
#include "sandbox/SignInStore.h"
#include "sandbox/Tokens.h"

#include <array>
#include <chrono>
#include <filesystem>
#include <string>

namespace sandbox {

struct SignInInstance {
    std::string host;
    bool development = false;

    // Returns the prefix of the instance's type, followed by the base64 of the host and a dollar sign.
    std::string publishableKey() const;
};

// Every address at one of these domains has an account, except those whose local part starts with "nobody".
// "password" cannot sign in by e-mail code, and "second" needs a second factor.
inline constexpr std::array<std::string_view, 3> knownDomains{"example.com", "example.org", "lumetra.test"};
inline constexpr std::string_view emailCode = "424242";

// Answers strictly: what the program must send is checked exactly, and what it must not send is recorded in
// the ledger. Network thread only.
class SignInService {
public:
    SignInService(const std::filesystem::path& folder, Faults& faults, Ledger& ledger,
                  std::chrono::seconds tokenLifetime);

    static const SignInInstance& development();
    static const SignInInstance& production();
    static bool serves(const std::string& host);

    HttpReply answer(const HttpRequest& request);

    TokenMint& mint() { return m_mint; }
    void setTokenLifetime(std::chrono::seconds lifetime) { m_tokenLifetime = lifetime; }
    // Ends every session: its token requests then fail.
    void endSessions();
    // Returns the number of session tokens issued.
    std::uint64_t tokensIssued() const { return m_mint.issued(); }

private:
    struct Call;

    HttpReply route(Call& call);
    HttpReply makeDevBrowser(Call& call);
    HttpReply createSignIn(Call& call);
    HttpReply prepareFirstFactor(Call& call, const std::string& signInId);
    HttpReply attemptFirstFactor(Call& call, const std::string& signInId);
    HttpReply createToken(Call& call, const std::string& sessionId);
    HttpReply removeSession(Call& call, const std::string& sessionId);
    // These return a reply with status 0 if the request is correct.
    HttpReply checkIdentity(Call& call);
    HttpReply checkForm(Call& call, std::initializer_list<std::string_view> keys);
    HttpReply checkSignIn(Call& call, const std::string& signInId, SignIn*& signIn);
    HttpReply violated(const Call& call, const std::string& code, const std::string& what);
    HttpReply envelope(boost::json::object response, const Client& client);
    void handClientToken(HttpReply& reply, const Client& client);

    Faults& m_faults;
    Ledger& m_ledger;
    SignInStore m_store;
    TokenMint m_mint;
    std::chrono::seconds m_tokenLifetime;
    unsigned m_replies = 0;
    unsigned m_devBrowserReplies = 0;
};

} // namespace sandbox
