#include "sandbox/ControlService.h"

#include "sandbox/Core.h"

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_from.hpp>

#include <algorithm>
#include <array>
#include <set>
#include <stdexcept>

namespace sandbox {

namespace json = boost::json;

namespace {

// Reads the parameters of one action. Parameters that were not read are reported as unknown.
class Parameters {
public:
    explicit Parameters(const json::object& object)
        : m_object(object) {}

    std::int64_t number(const char* key, std::optional<std::int64_t> fallback = {}) {
        const auto* value = find(key, fallback.has_value());
        return value == nullptr ? *fallback : checked(value->if_int64(), key);
    }
    bool flag(const char* key) {
        const auto* value = find(key, true);
        return value != nullptr && checked(value->if_bool(), key);
    }
    std::string text(const char* key, std::optional<std::string> fallback = {}) {
        const auto* value = find(key, fallback.has_value());
        return value == nullptr ? *fallback : std::string(checked(value->if_string(), key));
    }
    std::chrono::milliseconds milliseconds(const char* key) { return std::chrono::milliseconds(number(key)); }
    Refusal refusal() { return {static_cast<int>(number("status")), static_cast<int>(number("times", 1))}; }
    void rejectUnknown() const {
        for (const auto& member : m_object) {
            if (!m_known.contains(std::string(member.key()))) {
                throw std::invalid_argument("unknown parameter " + std::string(member.key()));
            }
        }
    }

private:
    const json::value* find(const char* key, bool optional) {
        m_known.insert(key);
        const auto* value = m_object.if_contains(key);
        if (value == nullptr && !optional) {
            throw std::invalid_argument(std::string("missing parameter ") + key);
        }
        return value;
    }
    template<typename T>
    static const T& checked(const T* value, const char* key) {
        if (value == nullptr) {
            throw std::invalid_argument(std::string("wrong type of parameter ") + key);
        }
        return *value;
    }

    const json::object& m_object;
    std::set<std::string> m_known;
};

template<typename Value, std::size_t count>
Value named(const std::array<std::pair<std::string_view, Value>, count>& table, const std::string& name) {
    const auto* found =
        std::find_if(table.begin(), table.end(), [&](const auto& entry) { return entry.first == name; });
    if (found == table.end()) {
        throw std::invalid_argument("unknown value " + name);
    }
    return found->second;
}

constexpr std::array<std::pair<std::string_view, LossWording>, 3> wordings{
    {{"plain", LossWording::sessionNotFound},
     {"id", LossWording::sessionIdNotFound},
     {"reversed", LossWording::notFoundSession}}};
constexpr std::array<std::pair<std::string_view, UpdateFeed::Flaw>, 8> updateFlaws{
    {{"none", UpdateFeed::Flaw::none},
     {"unsigned", UpdateFeed::Flaw::unsignedPackage},
     {"wrong_signature", UpdateFeed::Flaw::wrongSignature},
     {"truncated", UpdateFeed::Flaw::truncated},
     {"plain_address", UpdateFeed::Flaw::plainAddress},
     {"older_package", UpdateFeed::Flaw::olderPackage},
     {"other_package", UpdateFeed::Flaw::otherPackage},
     {"too_large", UpdateFeed::Flaw::tooLarge}}};
constexpr std::array<std::pair<std::string_view, CertificateAuthority::Kind>, 4> certificates{
    {{"sound", CertificateAuthority::Kind::sound},
     {"other_name", CertificateAuthority::Kind::otherName},
     {"expired", CertificateAuthority::Kind::expired},
     {"unknown_issuer", CertificateAuthority::Kind::unknownIssuer}}};

void stopPings(Core& core, Parameters& p) {
    core.faults().ignorePings = p.flag("new_links");
    core.backend().stopAnsweringPings();
}

void silence(Core& core, Parameters& p) {
    core.faults().silent = p.flag("new_links");
    core.backend().silenceLinks();
}

void failSignIn(Core& core, Parameters& p) {
    core.faults().signInCode = p.text("code");
    core.faults().signInTimes = static_cast<int>(p.number("times", 1));
}

void misbehave(Core& core, Parameters& p) {
    if (const auto kind = p.text("kind"); !core.backend().misbehave(kind)) {
        throw std::invalid_argument("unknown value " + kind);
    }
}

void offerUpdate(Core& core, Parameters& p) {
    core.updates().offer({.version = p.text("version", "2"),
                          .displayVersion = p.text("display_version", "0.2.0"),
                          .notes = p.text("notes", "**New:** something to try updates with."),
                          .kilobytes = static_cast<std::size_t>(p.number("kilobytes", 1024)),
                          .flaw = named(updateFlaws, p.text("flaw", "none"))});
}

struct Action {
    std::string_view name;
    void (*act)(Core&, Parameters&);
};

const std::array<Action, 24> actions{{
    {"drop", [](Core& c, Parameters&) { c.backend().dropLinks(); }},
    {"close",
     [](Core& c, Parameters& p) {
         c.backend().closeLinks(static_cast<std::uint16_t>(p.number("code", 1001)), p.text("reason", ""));
     }},
    {"ignore-pings", stopPings},
    {"silence", silence},
    {"refuse-upgrade", [](Core& c, Parameters& p) { c.faults().upgrade = p.refusal(); }},
    {"fail-rest", [](Core& c, Parameters& p) { c.faults().rest = p.refusal(); }},
    {"fail-token", [](Core& c, Parameters& p) { c.faults().token = p.refusal(); }},
    {"fail-sign-in", failSignIn},
    {"slow", [](Core& c, Parameters& p) { c.faults().slowness = p.milliseconds("milliseconds"); }},
    {"delay-end-ack",
     [](Core& c, Parameters& p) { c.faults().endAckDelay = p.milliseconds("milliseconds"); }},
    {"forget-sessions",
     [](Core& c, Parameters& p) {
         c.backend().forgetSessions(named(wordings, p.text("wording", "plain")), p.flag("at_once"));
     }},
    {"forget-interviews", [](Core& c, Parameters&) { c.backend().forgetInterviews(); }},
    {"misbehave", misbehave},
    {"offer-update", offerUpdate},
    {"send-text", [](Core& c, Parameters& p) { c.backend().sendText(p.text("text")); }},
    {"go-away",
     [](Core& c, Parameters& p) {
         const auto time = p.number("milliseconds", 0);
         c.goAway(std::chrono::milliseconds(time), p.flag("backend_only"));
     }},
    {"come-back", [](Core& c, Parameters&) { c.comeBack(); }},
    {"revoke-tokens", [](Core& c, Parameters&) { c.signIn().mint().revokeAll(); }},
    {"end-sign-ins", [](Core& c, Parameters&) { c.signIn().endSessions(); }},
    {"certificate", [](Core& c, Parameters& p) { c.useCertificate(named(certificates, p.text("kind"))); }},
    {"cure", [](Core& c, Parameters&) { c.cure(); }},
    {"token-lifetime",
     [](Core& c, Parameters& p) { c.signIn().setTokenLifetime(std::chrono::seconds(p.number("seconds"))); }},
    {"pace", [](Core& c, Parameters& p) { c.backend().settings.pace = p.milliseconds("milliseconds"); }},
    {"assessment-every",
     [](Core& c, Parameters& p) { c.backend().settings.assessmentEvery = p.milliseconds("milliseconds"); }},
}};

HttpReply failure(int status, std::string_view reason) {
    return HttpReply::json(status, json::serialize(json::object{{"error", reason}}) + '\n');
}

HttpReply success(const json::object& result) {
    return HttpReply::json(200, json::serialize(result) + '\n');
}

} // namespace

json::object applyAction(Core& core, std::string_view action, const json::object& parameters) {
    if (action == "save-sound") {
        return {{"files", json::value_from(core.saveSound())}};
    }
    const auto* found =
        std::find_if(actions.begin(), actions.end(), [&](const Action& a) { return a.name == action; });
    if (found == actions.end()) {
        throw std::invalid_argument("unknown action " + std::string(action));
    }
    Parameters reader(parameters);
    found->act(core, reader);
    reader.rejectUnknown();
    core.ledger().request("action " + std::string(action) + ' ' + json::serialize(parameters));
    return {};
}

HttpReply control(Core& core, const HttpRequest& request) {
    if (request.method == "GET") {
        return request.path == "/state"       ? success(core.state())
               : request.path == "/addresses" ? success(describeAddresses(core))
                                              : failure(404, "GET /state or /addresses, POST /<action>");
    }
    if (request.method != "POST") {
        return failure(405, "GET or POST");
    }
    boost::system::error_code error;
    const json::value body =
        request.body.empty() ? json::value(json::object()) : json::parse(request.body, error);
    if (error || !body.is_object()) {
        return failure(400, "the body is not a JSON object");
    }
    try {
        return success(applyAction(core, std::string_view(request.path).substr(1), body.get_object()));
    } catch (const std::invalid_argument& problem) {
        return failure(400, problem.what());
    }
}

json::object describeAddresses(const Core& core) {
    const auto& a = core.addresses();
    const auto file = a.certificateFile.string();
    return {
        {"folder", a.folder.string()},
        {"ca_file", file},
        {"proxy", a.proxy},
        {"sign_in",
         {{"development",
           {{"host", SignInService::development().host}, {"publishable_key", a.developmentKey}}},
          {"production", {{"host", SignInService::production().host}, {"publishable_key", a.productionKey}}},
          {"email", "interviewer@example.com"},
          {"code", emailCode}}},
        {"backend", {{"url", a.backend}, {"tls", a.backendTls}, {"plain", a.backendPlain}}},
        {"updates", {{"feed", UpdateFeed::address()}, {"public_key", UpdateFeed::publicKey()}}},
        {"control", a.control},
        {"environment", {{"SSL_CERT_FILE", file}, {"https_proxy", a.proxy}}}};
}

} // namespace sandbox
