// The clients, sign-ins and sessions that the sign-in service knows, kept in one private file.
#pragma once

#include <boost/json/object.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace sandbox {

struct SignIn {
    std::string id;
    std::string status;
    std::string identifier;
    std::string emailAddressId;
    // Empty until complete.
    std::string createdSessionId;
};

struct UserSession {
    std::string id;
    std::string status;
    std::string userId;
    std::int64_t lastActiveAt = 0;
};

// One browser or program as the service sees it; its token changes when a sign-in completes.
struct Client {
    std::string id;
    std::string token;
    // The host of its instance.
    std::string host;
    // Empty in a production instance.
    std::string devBrowser;
    std::vector<SignIn> signIns;
    std::vector<UserSession> sessions;

    bool hasActiveSession() const;
    SignIn* signIn(const std::string& signInId);
    UserSession* session(const std::string& sessionId);
};

class SignInStore {
public:
    // Loads the file; an unreadable file counts as empty.
    explicit SignInStore(std::filesystem::path file);

    std::vector<std::string> devBrowsers;
    std::vector<Client> clients;
    // The key that signs session tokens.
    std::string mintKey;

    // Return null if there is no such client.
    Client* byToken(const std::string& host, const std::string& token);
    Client* byDevBrowser(const std::string& host, const std::string& devBrowser);
    bool knowsDevBrowser(const std::string& devBrowser) const;
    void save() const;

private:
    void load();

    std::filesystem::path m_file;
};

// Return the records as the service sends them.
boost::json::object describeSignIn(const SignIn& signIn);
boost::json::object describeSession(const UserSession& session);
boost::json::object describeClient(const Client& client);

} // namespace sandbox
