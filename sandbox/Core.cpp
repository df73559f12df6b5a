#include "sandbox/Core.h"

#include "sandbox/ChatProvider.h"
#include "sandbox/ControlService.h"

#include <boost/json/array.hpp>

#include <algorithm>
#include <array>

namespace sandbox {

namespace json = boost::json;

namespace {

asio::ssl::context makeContext(const CertificateAuthority& authority, CertificateAuthority::Kind kind) {
    const auto server = authority.issue({SignInService::development().host, SignInService::production().host,
                                         std::string(backendHost), std::string(updateHost), "localhost"},
                                        kind);
    asio::ssl::context context(asio::ssl::context::tls_server);
    context.set_options(asio::ssl::context::no_tlsv1 | asio::ssl::context::no_tlsv1_1);
    context.use_certificate_chain(asio::buffer(server.certificate));
    context.use_private_key(asio::buffer(server.key), asio::ssl::context::pem);
    return context;
}

HttpReply misdirected() {
    return HttpReply::json(421, R"({"error":"no such host"})");
}

} // namespace

Core::Core(asio::io_context& context, const Options& options)
    : m_folder(options.folder)
    , m_scheduler(context)
    , m_authority(options.folder)
    , m_signIn(options.folder, m_faults, m_ledger, options.tokenLifetime)
    , m_backend(m_scheduler, m_faults, m_ledger, m_signIn.mint())
    , m_https(context, [this](const HttpRequest& request) { return answer(request); })
    , m_http(context, [this](const HttpRequest& request) { return answer(request); })
    , m_proxy(context, [](const HttpRequest&) { return HttpReply::json(403, R"({"error":"tunnels only"})"); })
    , m_control(context, [this](const HttpRequest& request) { return control(*this, request); }) {
    m_ledger.print = options.log;
    m_updates.offer({});
    m_backend.settings = {options.pace, options.assessmentEvery, options.keepSamples};
    useCertificate(CertificateAuthority::Kind::sound);
    m_proxy.openTunnel = [this](const HttpRequest& request) { return openTunnel(request); };
    m_https.listen(options.httpsPort);
    m_http.listen(options.httpPort);
    m_proxy.listen(options.proxyPort);
    m_control.listen(options.controlPort);
    fillAddresses();
}

void Core::fillAddresses() {
    const auto plain = [](const HttpServer& server) {
        return "http://127.0.0.1:" + std::to_string(server.port());
    };
    m_addresses = {m_folder,
                   m_authority.certificateFile(),
                   plain(m_proxy),
                   SignInService::development().publishableKey(),
                   SignInService::production().publishableKey(),
                   "https://" + std::string(backendHost),
                   "https://localhost:" + std::to_string(m_https.port()),
                   plain(m_http),
                   plain(m_control)};
}

HttpReply Core::answer(const HttpRequest& request) {
    const bool isSignIn = SignInService::serves(request.host);
    const bool isBackend =
        request.host == backendHost || request.host == "localhost" || request.host == "127.0.0.1";
    HttpReply reply;
    try {
        reply = isSignIn                           ? m_signIn.answer(request)
                : request.host == updateHost       ? m_updates.answer(request, m_backend.settings.pace)
                : !isBackend                       ? misdirected()
                : request.path == chatProviderPath ? answerChat(request, m_backend.settings.pace, m_ledger)
                                                   : m_backend.answer(request);
    } catch (const std::exception& problem) {
        // For example a full disk: the next request may succeed.
        m_ledger.request(std::string("internal error: ") + problem.what());
        reply = HttpReply::json(500, R"({"error":"internal error"})");
    }
    reply.delay = m_faults.slowness;
    m_ledger.request(request.method + ' ' + request.host + request.path + ' ' + std::to_string(reply.status));
    return reply;
}

HttpServer::Tunnel Core::openTunnel(const HttpRequest& request) {
    const auto colon = request.target.rfind(':');
    const auto host = lowerCased(request.target.substr(0, colon));
    const auto port = colon == std::string::npos ? std::string() : request.target.substr(colon + 1);
    const bool isLocal = host == "localhost" || host == "127.0.0.1";
    const bool toBackend = (host == backendHost && port == "443") || isLocal;
    HttpServer* server = nullptr;
    if (((SignInService::serves(host) || host == updateHost) && port == "443") || (toBackend && !isLocal) ||
        (isLocal && port == std::to_string(m_https.port()))) {
        server = &m_https;
    } else if (isLocal && port == std::to_string(m_http.port())) {
        server = &m_http;
    }
    const int status = server == nullptr ? 403 : m_away && toBackend ? 502 : 200;
    m_ledger.request("CONNECT " + request.target + ' ' + std::to_string(status));
    return {status, [server](std::shared_ptr<Wire> wire) { server->adopt(std::move(wire)); }};
}

void Core::useCertificate(CertificateAuthority::Kind kind) {
    auto found = m_tls.find(kind);
    if (found == m_tls.end()) {
        found = m_tls.emplace(kind, makeContext(m_authority, kind)).first;
    }
    m_https.useTls(&found->second);
}

void Core::goAway(std::chrono::milliseconds time, bool backendOnly) {
    m_away = true;
    const auto absence = ++m_absence;
    std::vector<HttpServer*> servers{&m_https, &m_http};
    if (!backendOnly) {
        servers.push_back(&m_proxy);
    }
    for (auto* server : servers) {
        server->stopListening();
        server->dropConnections();
    }
    if (time.count() > 0) {
        m_scheduler.after(time, [this, absence] {
            if (absence == m_absence) {
                comeBack();
            }
        });
    }
}

void Core::comeBack() {
    m_away = false;
    ++m_absence;
    try {
        for (auto* server : {&m_https, &m_http, &m_proxy}) {
            server->listenAgain();
        }
    } catch (const boost::system::system_error&) {
        // Another program took a port in the meantime.
        goAway(std::chrono::milliseconds(200), false);
    }
}

void Core::cure() {
    m_faults = {};
    useCertificate(CertificateAuthority::Kind::sound);
    if (m_away) {
        comeBack();
    }
}

std::vector<std::string> Core::saveSound() {
    std::vector<std::string> paths;
    const auto* record = m_backend.interview({});
    constexpr std::array<std::string_view, 2> names{"interviewer.wav", "candidate.wav"};
    for (std::size_t side = 0; record != nullptr && side < names.size(); ++side) {
        const auto path = m_folder / names[side];
        writeWav(path, record->streams[side].samples(), record->streams[side].sampleRate());
        paths.push_back(path.string());
    }
    return paths;
}

json::object Core::state() const {
    json::object state = m_backend.describe();
    state["away"] = m_away;
    state["tokens_issued"] = m_signIn.tokensIssued();
    state["connections"] = m_https.openConnections() + m_http.openConnections();
    state["requests"] = json::array(m_ledger.requests().begin(), m_ledger.requests().end());
    state["violations"] = json::array(m_ledger.violations().begin(), m_ledger.violations().end());
    return state;
}

void Core::stop() {
    for (auto* server : {&m_https, &m_http, &m_proxy, &m_control}) {
        server->stopListening();
        server->dropConnections();
    }
    m_scheduler.clear();
}

} // namespace sandbox
