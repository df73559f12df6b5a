// All parts of the stand-in together. Everything except the constructor and the destructor runs on the
// network thread.
#pragma once

#include "sandbox/BackendService.h"
#include "sandbox/CertificateAuthority.h"
#include "sandbox/Faults.h"
#include "sandbox/HttpServer.h"
#include "sandbox/Ledger.h"
#include "sandbox/Sandbox.h"
#include "sandbox/Scheduler.h"
#include "sandbox/SignInService.h"
#include "sandbox/UpdateFeed.h"

#include <boost/asio/ssl/context.hpp>

#include <boost/json/object.hpp>

#include <map>
#include <string_view>

namespace sandbox {

inline constexpr std::string_view backendHost = "backend.lumetra.test";

class Core {
public:
    // Listens on every port when it returns. Throws if that is not possible.
    Core(asio::io_context& context, const Options& options);

    const Addresses& addresses() const { return m_addresses; }
    boost::json::object state() const;
    // Ends everything that would keep the network thread running.
    void stop();

    void goAway(std::chrono::milliseconds time, bool backendOnly);
    void comeBack();
    void useCertificate(CertificateAuthority::Kind kind);
    // Ends every lasting fault, including goAway().
    void cure();
    // Writes both sides of the last interview as WAV files and returns their paths.
    std::vector<std::string> saveSound();

    Faults& faults() { return m_faults; }
    Ledger& ledger() { return m_ledger; }
    const Ledger& ledger() const { return m_ledger; }
    SignInService& signIn() { return m_signIn; }
    BackendService& backend() { return m_backend; }
    const BackendService& backend() const { return m_backend; }
    UpdateFeed& updates() { return m_updates; }

private:
    HttpReply answer(const HttpRequest& request);
    HttpServer::Tunnel openTunnel(const HttpRequest& request);
    void fillAddresses();

    std::filesystem::path m_folder;
    Scheduler m_scheduler;
    Faults m_faults;
    Ledger m_ledger;
    CertificateAuthority m_authority;
    std::map<CertificateAuthority::Kind, asio::ssl::context> m_tls;
    SignInService m_signIn;
    BackendService m_backend;
    UpdateFeed m_updates;
    HttpServer m_https;
    HttpServer m_http;
    HttpServer m_proxy;
    HttpServer m_control;
    bool m_away = false;
    // Incremented whenever the stand-in goes away or comes back, so that an old timer does nothing.
    unsigned m_absence = 0;
    Addresses m_addresses;
};

} // namespace sandbox
