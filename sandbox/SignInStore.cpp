#include "sandbox/SignInStore.h"

#include "sandbox/CertificateAuthority.h"
#include "sandbox/Tokens.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_from.hpp>
#include <boost/json/value_to.hpp>

#include <algorithm>

namespace sandbox {

namespace json = boost::json;

namespace {

json::value optional(const std::string& text) {
    return text.empty() ? json::value() : json::value(text);
}

std::string text(const json::object& object, std::string_view key) {
    return json::value_to<std::string>(object.at(key));
}

json::object toJson(const Client& client) {
    json::array signIns;
    for (const auto& s : client.signIns) {
        signIns.push_back(json::object{{"id", s.id},
                                       {"status", s.status},
                                       {"identifier", s.identifier},
                                       {"email_id", s.emailAddressId},
                                       {"session", s.createdSessionId}});
    }
    json::array sessions;
    for (const auto& s : client.sessions) {
        sessions.push_back(
            json::object{{"id", s.id}, {"status", s.status}, {"user", s.userId}, {"active", s.lastActiveAt}});
    }
    return {{"id", client.id},
            {"token", client.token},
            {"host", client.host},
            {"dev_browser", client.devBrowser},
            {"sign_ins", std::move(signIns)},
            {"sessions", std::move(sessions)}};
}

Client clientFrom(const json::object& object) {
    Client client{
        text(object, "id"), text(object, "token"), text(object, "host"), text(object, "dev_browser"), {}, {}};
    for (const auto& value : object.at("sign_ins").as_array()) {
        const auto& s = value.as_object();
        client.signIns.push_back({text(s, "id"), text(s, "status"), text(s, "identifier"),
                                  text(s, "email_id"), text(s, "session")});
    }
    for (const auto& value : object.at("sessions").as_array()) {
        const auto& s = value.as_object();
        client.sessions.push_back(
            {text(s, "id"), text(s, "status"), text(s, "user"), s.at("active").to_number<std::int64_t>()});
    }
    return client;
}

template<typename List>
auto* byId(List& list, const std::string& id) {
    const auto found =
        std::find_if(list.begin(), list.end(), [&](const auto& entry) { return entry.id == id; });
    return found == list.end() ? nullptr : &*found;
}

} // namespace

bool Client::hasActiveSession() const {
    return std::any_of(sessions.begin(), sessions.end(), [](const auto& s) { return s.status == "active"; });
}
SignIn* Client::signIn(const std::string& signInId) {
    return byId(signIns, signInId);
}
UserSession* Client::session(const std::string& sessionId) {
    return byId(sessions, sessionId);
}

SignInStore::SignInStore(std::filesystem::path file)
    : m_file(std::move(file)) {
    try {
        load();
    } catch (const std::exception&) {
        devBrowsers.clear();
        clients.clear();
    }
    if (mintKey.empty()) {
        mintKey = randomId("");
        save();
    }
}

void SignInStore::load() {
    const auto document = json::parse(readFile(m_file));
    mintKey = text(document.as_object(), "mint_key");
    devBrowsers = json::value_to<std::vector<std::string>>(document.at("dev_browsers"));
    for (const auto& client : document.at("clients").as_array()) {
        clients.push_back(clientFrom(client.as_object()));
    }
}

void SignInStore::save() const {
    json::array list;
    for (const auto& client : clients) {
        list.push_back(toJson(client));
    }
    const json::object document{
        {"mint_key", mintKey}, {"dev_browsers", json::value_from(devBrowsers)}, {"clients", std::move(list)}};
    writePrivateFile(m_file, json::serialize(document));
}

Client* SignInStore::byToken(const std::string& host, const std::string& token) {
    const auto found = std::find_if(clients.begin(), clients.end(),
                                    [&](const Client& c) { return c.host == host && c.token == token; });
    return found == clients.end() ? nullptr : &*found;
}

Client* SignInStore::byDevBrowser(const std::string& host, const std::string& devBrowser) {
    const auto found = std::find_if(clients.begin(), clients.end(), [&](const Client& c) {
        return c.host == host && !c.devBrowser.empty() && c.devBrowser == devBrowser;
    });
    return found == clients.end() ? nullptr : &*found;
}

bool SignInStore::knowsDevBrowser(const std::string& devBrowser) const {
    return std::find(devBrowsers.begin(), devBrowsers.end(), devBrowser) != devBrowsers.end();
}

json::object describeSignIn(const SignIn& signIn) {
    json::array factors;
    if (signIn.identifier.starts_with("password")) {
        factors.push_back(json::object{{"strategy", "password"}});
    } else {
        factors.push_back(json::object{{"strategy", "email_code"},
                                       {"email_address_id", signIn.emailAddressId},
                                       {"safe_identifier", signIn.identifier},
                                       {"primary", true}});
    }
    return {{"object", "sign_in_attempt"},
            {"id", signIn.id},
            {"status", signIn.status},
            {"supported_identifiers", json::array{"email_address"}},
            {"supported_first_factors", std::move(factors)},
            {"supported_second_factors", nullptr},
            {"identifier", signIn.identifier},
            {"created_session_id", optional(signIn.createdSessionId)}};
}

json::object describeSession(const UserSession& session) {
    return {{"object", "session"},
            {"id", session.id},
            {"status", session.status},
            {"user_id", session.userId},
            {"last_active_at", session.lastActiveAt}};
}

json::object describeClient(const Client& client) {
    json::array sessions;
    std::string last;
    for (const auto& session : client.sessions) {
        sessions.push_back(describeSession(session));
        last = session.status == "active" ? session.id : last;
    }
    json::value signIn;
    if (!client.signIns.empty() && client.signIns.back().status != "complete") {
        signIn = describeSignIn(client.signIns.back());
    }
    return {{"object", "client"},
            {"id", client.id},
            {"sign_in", std::move(signIn)},
            {"sessions", std::move(sessions)},
            {"last_active_session_id", optional(last)}};
}

} // namespace sandbox
