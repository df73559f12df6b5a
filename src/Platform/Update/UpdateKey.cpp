#include "Platform/Update/UpdateKey.h"

#include "Platform/Update/UpdateError.h"

#include <sodium.h>

#include <sys/mman.h>
#include <sys/stat.h>

namespace platform {

namespace {

const unsigned char* bytesOf(const QByteArray& array) {
    return reinterpret_cast<const unsigned char*>(array.constData());
}

} // namespace

UpdateKey::UpdateKey(const QString& base64)
    : m_key(QByteArray::fromBase64(base64.toLatin1())) {
    if (m_key.size() != crypto_sign_PUBLICKEYBYTES || sodium_init() < 0) {
        throw UpdateError(
            UpdateError::noPublicKey,
            QStringLiteral("This installation has no key to check updates with "
                           "(SUPublicEDKey). Install the program again from where you got it."));
    }
}

bool UpdateKey::verifies(int descriptor, const QByteArray& signature) const {
    struct stat status {};
    if (signature.size() != crypto_sign_BYTES || ::fstat(descriptor, &status) != 0 || status.st_size <= 0) {
        return false;
    }
    // The signature covers the whole file at once; mapping the file avoids a copy in memory.
    const auto size = static_cast<std::size_t>(status.st_size);
    auto* const content = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (content == MAP_FAILED) {
        return false;
    }
    const int answer = crypto_sign_verify_detached(
        bytesOf(signature), static_cast<const unsigned char*>(content), size, bytesOf(m_key));
    ::munmap(content, size);
    return answer == 0;
}

void UpdateKey::requireSignature(int descriptor, const QByteArray& signature) const {
    if (!verifies(descriptor, signature)) {
        throw UpdateError(UpdateError::badSignature,
                          QStringLiteral("The update is not signed by the makers of this program, so it was "
                                         "thrown away. Contact the administrator of the update server."));
    }
}

} // namespace platform
