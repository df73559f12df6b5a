#include "sandbox/SignInService.h"

#include <boost/json/serialize.hpp>

#include <algorithm>

namespace sandbox {

namespace json = boost::json;

namespace {

HttpReply error(int status, std::string_view code, std::string_view message) {
    const json::object item{
        {"message", message}, {"long_message", message}, {"code", code}, {"meta", json::object()}};
    return HttpReply::json(
        status, json::serialize(json::object{{"errors", json::array{item}}, {"trace_id", randomId("")}}));
}

HttpReply accepted() {
    HttpReply reply;
    reply.status = 0;
    return reply;
}

std::int64_t nowMilliseconds() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// Returns true if `path` consists of `prefix`, one segment and `suffix`, and stores the segment in `id`.
bool matches(std::string_view path, std::string_view prefix, std::string_view suffix, std::string& id) {
    if (!path.starts_with(prefix) || !path.ends_with(suffix) ||
        path.size() <= prefix.size() + suffix.size()) {
        return false;
    }
    id = path.substr(prefix.size(), path.size() - prefix.size() - suffix.size());
    return id.find('/') == std::string::npos;
}

bool hasAccount(const std::string& address) {
    const auto at = address.find('@');
    const auto domain = address.substr(std::min(address.size(), at == std::string::npos ? at : at + 1));
    return at != std::string::npos && !address.starts_with("nobody") &&
           std::find(knownDomains.begin(), knownDomains.end(), domain) != knownDomains.end();
}

} // namespace

struct SignInService::Call {
    const HttpRequest& request;
    const SignInInstance& instance;
    std::string devBrowser;
    Client* client = nullptr;
    Pairs form;

    std::string field(std::string_view name) const {
        const auto found =
            std::find_if(form.begin(), form.end(), [&](const auto& p) { return p.first == name; });
        return found == form.end() ? std::string() : found->second;
    }
};

std::string SignInInstance::publishableKey() const {
    return (development ? "pk_test_" : "pk_live_") + base64(host + "$");
}

SignInService::SignInService(const std::filesystem::path& folder, Faults& faults, Ledger& ledger,
                             std::chrono::seconds tokenLifetime)
    : m_faults(faults)
    , m_ledger(ledger)
    , m_store(folder / "sign-in.json")
    , m_mint(m_store.mintKey)
    , m_tokenLifetime(tokenLifetime) {}

const SignInInstance& SignInService::development() {
    static const SignInInstance instance{"clerk.lumetra.test", true};
    return instance;
}

const SignInInstance& SignInService::production() {
    static const SignInInstance instance{"clerk.live.lumetra.test", false};
    return instance;
}

bool SignInService::serves(const std::string& host) {
    return host == development().host || host == production().host;
}

void SignInService::endSessions() {
    for (auto& client : m_store.clients) {
        for (auto& session : client.sessions) {
            session.status = "ended";
        }
    }
    m_store.save();
}

HttpReply SignInService::answer(const HttpRequest& request) {
    Call call{request, request.host == development().host ? development() : production(), {}, nullptr, {}};
    if (!request.secure) {
        return violated(call, "insecure", "sign-in request without TLS");
    }
    if (request.serverName != request.host) {
        m_ledger.violation("TLS server name is not the host of the sign-in request");
    }
    return route(call);
}

HttpReply SignInService::route(Call& call) {
    const auto& request = call.request;
    const auto* key = request.header("clerk-publishable-key");
    if (request.method != "POST") {
        return violated(call, "method_not_allowed", "method " + request.method);
    }
    if (key == nullptr || *key != call.instance.publishableKey()) {
        return violated(call, "publishable_key_invalid", "publishable key missing or of another instance");
    }
    if (request.header("authorization") != nullptr) {
        return violated(call, "authorization_header_format_invalid", "an Authorization header");
    }
    if (request.path == "/v1/dev_browser") {
        return makeDevBrowser(call);
    }
    if (auto refused = checkIdentity(call); refused.status != 0) {
        return refused;
    }
    std::string id;
    const std::string_view path = request.path;
    if (path == "/v1/client/sign_ins") {
        return createSignIn(call);
    }
    if (matches(path, "/v1/client/sign_ins/", "/prepare_first_factor", id)) {
        return prepareFirstFactor(call, id);
    }
    if (matches(path, "/v1/client/sign_ins/", "/attempt_first_factor", id)) {
        return attemptFirstFactor(call, id);
    }
    if (matches(path, "/v1/client/sessions/", "/tokens", id)) {
        return createToken(call, id);
    }
    if (matches(path, "/v1/client/sessions/", "/remove", id)) {
        return removeSession(call, id);
    }
    return violated(call, "resource_not_found", "no such path");
}

HttpReply SignInService::violated(const Call& call, const std::string& code, const std::string& what) {
    m_ledger.violation("sign-in " + call.request.path + ": " + what);
    return error(code == "resource_not_found" ? 404 : 400, code, what);
}

HttpReply SignInService::checkIdentity(Call& call) {
    const auto& request = call.request;
    for (const auto& [name, value] : request.headers) {
        const bool expected = name == "clerk-publishable-key" || name == "content-type" || name == "cookie" ||
                              isTransportHeader(name);
        if (!expected) {
            m_ledger.violation("sign-in " + request.path + ": header " + name + " is not expected");
        }
    }
    const auto* type = request.header("content-type");
    if (type == nullptr || *type != "application/x-www-form-urlencoded") {
        return violated(call, "content_type_invalid", "Content-Type is not the form's");
    }
    if (call.instance.development) {
        const auto* token = request.queryItem("__clerk_db_jwt");
        if (token == nullptr || request.query.size() != 1) {
            return violated(call, "dev_browser_unauthenticated", "query is not the dev-browser token alone");
        }
        if (!m_store.knowsDevBrowser(*token)) {
            return error(401, "client_state_invalid", "The browser is not known here any more.");
        }
        call.devBrowser = *token;
    } else if (request.hasQuery) {
        return violated(call, "request_invalid_for_instance", "a query in a production instance");
    }
    const auto* cookie = request.header("cookie");
    if (cookie != nullptr) {
        if (!cookie->starts_with("__client=") || cookie->find(';') != std::string::npos ||
            cookie->size() == 9) {
            return violated(call, "cookie_invalid", "Cookie is not __client alone");
        }
        call.client = m_store.byToken(call.instance.host, cookie->substr(9));
        if (call.client != nullptr && call.client->devBrowser != call.devBrowser) {
            call.client = nullptr;
        }
    }
    return accepted();
}

HttpReply SignInService::checkForm(Call& call, std::initializer_list<std::string_view> keys) {
    std::string complaint;
    auto form = parseStrictForm(call.request.body, complaint);
    if (!form) {
        return violated(call, "request_body_invalid", complaint);
    }
    call.form = std::move(*form);
    const bool asExpected =
        call.form.size() == keys.size() && std::all_of(keys.begin(), keys.end(), [&](std::string_view key) {
            return std::any_of(call.form.begin(), call.form.end(),
                               [&](const auto& p) { return p.first == key; });
        });
    if (!asExpected) {
        return violated(call, "form_param_unknown", "form fields are missing or too many");
    }
    const auto strategy = call.field("strategy");
    if (!strategy.empty() && strategy != "email_code") {
        return violated(call, "form_param_value_invalid", "strategy is not email_code");
    }
    return accepted();
}

HttpReply SignInService::makeDevBrowser(Call& call) {
    const auto& request = call.request;
    if (!call.instance.development) {
        return violated(call, "request_invalid_for_instance", "dev-browser request in a production instance");
    }
    if (request.hasQuery || !request.body.empty() || request.header("content-type") != nullptr ||
        request.header("cookie") != nullptr) {
        return violated(call, "request_body_invalid", "dev-browser request with query, body, type or cookie");
    }
    m_store.devBrowsers.push_back(randomId("dvb_"));
    m_store.save();
    const json::object token{{"id", m_store.devBrowsers.back()}, {"token", m_store.devBrowsers.back()}};
    const bool nested = m_devBrowserReplies++ % 2 == 1;
    return HttpReply::json(200, json::serialize(nested ? json::object{{"response", token}} : token));
}

HttpReply SignInService::createSignIn(Call& call) {
    if (auto refused = checkForm(call, {"identifier", "strategy"}); refused.status != 0) {
        return refused;
    }
    if (call.request.header("cookie") != nullptr) {
        m_ledger.violation("sign-in " + call.request.path + ": a new sign-in carries a client token");
    }
    if (m_faults.signInTimes > 0) {
        --m_faults.signInTimes;
        return error(400, m_faults.signInCode, "As requested.");
    }
    const auto identifier = call.field("identifier");
    if (identifier.find('@') == std::string::npos) {
        return error(422, "form_param_format_invalid", "Identifier is invalid.");
    }
    if (!hasAccount(identifier)) {
        return error(422, "form_identifier_not_found", "Couldn't find your account.");
    }
    Client* client = m_store.byDevBrowser(call.instance.host, call.devBrowser);
    if (client != nullptr && client->hasActiveSession()) {
        return error(400, "session_exists", "You're currently in single session mode.");
    }
    if (client == nullptr) {
        m_store.clients.push_back(
            {randomId("client_"), randomId("ct_", 32), call.instance.host, call.devBrowser, {}, {}});
        client = &m_store.clients.back();
    }
    client->signIns.push_back({randomId("sia_"), "needs_first_factor", identifier, randomId("idn_"), {}});
    m_store.save();
    auto reply = envelope(describeSignIn(client->signIns.back()), *client);
    handClientToken(reply, *client);
    return reply;
}

HttpReply SignInService::checkSignIn(Call& call, const std::string& signInId, SignIn*& signIn) {
    if (call.client == nullptr) {
        return error(401, "authentication_invalid", "Invalid authentication");
    }
    signIn = call.client->signIn(signInId);
    if (signIn == nullptr) {
        return error(404, "resource_not_found", "No sign in was found");
    }
    if (signIn->status != "needs_first_factor") {
        return error(400, "verification_already_verified", "This verification has already been verified.");
    }
    return accepted();
}

HttpReply SignInService::prepareFirstFactor(Call& call, const std::string& signInId) {
    SignIn* signIn = nullptr;
    if (auto refused = checkForm(call, {"strategy", "email_address_id"}); refused.status != 0) {
        return refused;
    }
    if (auto refused = checkSignIn(call, signInId, signIn); refused.status != 0) {
        return refused;
    }
    if (call.field("email_address_id") != signIn->emailAddressId) {
        return error(422, "form_param_value_invalid", "email_address_id is of another sign-in");
    }
    return envelope(describeSignIn(*signIn), *call.client);
}

HttpReply SignInService::attemptFirstFactor(Call& call, const std::string& signInId) {
    SignIn* signIn = nullptr;
    if (auto refused = checkForm(call, {"strategy", "code"}); refused.status != 0) {
        return refused;
    }
    if (auto refused = checkSignIn(call, signInId, signIn); refused.status != 0) {
        return refused;
    }
    if (call.field("code") != emailCode) {
        return error(422, "form_code_incorrect", "Incorrect code");
    }
    if (signIn->identifier.starts_with("second")) {
        signIn->status = "needs_second_factor";
    } else {
        call.client->sessions.push_back(
            {randomId("sess_"), "active", "user_" + signIn->emailAddressId, nowMilliseconds()});
        signIn->status = "complete";
        signIn->createdSessionId = call.client->sessions.back().id;
        call.client->token = randomId("ct_", 32);
    }
    m_store.save();
    auto reply = envelope(describeSignIn(*signIn), *call.client);
    handClientToken(reply, *call.client);
    return reply;
}

HttpReply SignInService::createToken(Call& call, const std::string& sessionId) {
    if (auto refused = checkForm(call, {}); refused.status != 0) {
        return refused;
    }
    if (const int status = m_faults.token.take(); status != 0) {
        return error(status, "authentication_invalid", "As requested.");
    }
    if (call.client == nullptr) {
        return error(401, "authentication_invalid", "Invalid authentication");
    }
    const UserSession* session = call.client->session(sessionId);
    if (session == nullptr || session->status != "active") {
        return error(404, "resource_not_found", "No session was found");
    }
    const auto jwt = m_mint.issue(session->userId, session->id, m_tokenLifetime);
    return HttpReply::json(200, json::serialize(json::object{{"object", "token"}, {"jwt", jwt}}));
}

HttpReply SignInService::removeSession(Call& call, const std::string& sessionId) {
    if (auto refused = checkForm(call, {}); refused.status != 0) {
        return refused;
    }
    UserSession* session = call.client != nullptr ? call.client->session(sessionId) : nullptr;
    if (session == nullptr) {
        return error(call.client == nullptr ? 401 : 404, "resource_not_found", "No session was found");
    }
    session->status = "removed";
    m_store.save();
    return envelope(describeSession(*session), *call.client);
}

HttpReply SignInService::envelope(json::object response, const Client& client) {
    return HttpReply::json(200, json::serialize(json::object{{"response", std::move(response)},
                                                             {"client", describeClient(client)}}));
}

// The real service uses a header for native programs and cookies for browsers. Here all the forms that a
// native program may receive take turns.
void SignInService::handClientToken(HttpReply& reply, const Client& client) {
    const std::string activity = "__client_uat=" + std::to_string(nowMilliseconds() / 1000) +
                                 "; Path=/; Expires=Thu, 01 Jan 2032 00:00:00 GMT; SameSite=Lax";
    const std::string cookie =
        "__client=" + client.token +
        "; Path=/; Expires=Thu, 01 Jan 2032 00:00:00 GMT; HttpOnly; Secure; SameSite=None";
    switch (m_replies++ % 4) {
    case 0:
        reply.headers.emplace_back("Authorization", client.token);
        break;
    case 1:
        reply.headers.emplace_back("Set-Cookie", activity);
        reply.headers.emplace_back("Set-Cookie", cookie);
        break;
    case 2:
        reply.headers.emplace_back("Authorization", "Bearer " + client.token);
        break;
    default:
        reply.headers.emplace_back("Set-Cookie", activity + ", " + cookie);
        break;
    }
}

} // namespace sandbox
