// The update feed and the packages that it names. A package is a real Debian package with one meaningless
// file.
#pragma once

#include "sandbox/Http.h"

#include <chrono>
#include <string>

namespace sandbox {

inline constexpr std::string_view updateHost = "updates.lumetra.test";

// Network thread only.
class UpdateFeed {
public:
    enum class Flaw {
        none,
        unsignedPackage,
        wrongSignature,
        truncated,
        plainAddress,
        olderPackage,
        otherPackage,
        tooLarge
    };
    struct Offer {
        // The defaults describe the first version, which is not newer than a fresh build.
        std::string version = "1";
        std::string displayVersion = "0.1.0";
        std::string notes = "The first version.";
        std::size_t kilobytes = 64;
        Flaw flaw = Flaw::none;
    };

    // Returns the public half of the signing key in base64. It is the same for every stand-in, since builds
    // contain it, and it signs nothing but test packages.
    static std::string publicKey();
    static std::string address() { return "https://" + std::string(updateHost) + "/update/appcast.xml"; }

    // Throws std::runtime_error if the package cannot be signed.
    void offer(Offer offer);
    // `pace` is the pause between the pieces of a package.
    HttpReply answer(const HttpRequest& request, std::chrono::milliseconds pace) const;

private:
    std::string feed() const;

    Offer m_offer;
    std::string m_package;
    std::string m_signature; // base64
    std::string m_tag;
};

} // namespace sandbox
