// The update feed, and the packages that it names. A package is a real Debian package of one file without a
// meaning.
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
        // Of the first version: nothing newer than a fresh build.
        std::string version = "1";
        std::string displayVersion = "0.1.0";
        std::string notes = "The first version.";
        std::size_t kilobytes = 64;
        Flaw flaw = Flaw::none;
    };

    // The public half of the key that signs, in base64: the same for every stand-in, since a build has it in
    // it. What it signs is for tries only.
    static std::string publicKey();
    static std::string address() { return "https://" + std::string(updateHost) + "/update/appcast.xml"; }

    // Throws std::runtime_error when it cannot be signed.
    void offer(Offer offer);
    // `pace`: between the pieces of a package.
    HttpReply answer(const HttpRequest& request, std::chrono::milliseconds pace) const;

private:
    std::string feed() const;

    Offer m_offer;
    std::string m_package;
    std::string m_signature; // base64
    std::string m_tag;
};

} // namespace sandbox
