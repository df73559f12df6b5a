#include "Platform/Update/UpdateKey.h"

#include "Platform/Update/UpdateError.h"

#include <QFile>

#include <sodium.h>

namespace platform {

namespace {

const unsigned char* bytesOf(const QByteArray& array) {
    return reinterpret_cast<const unsigned char*>(array.constData());
}

} // namespace

UpdateKey::UpdateKey(const QString& base64)
    : m_key(QByteArray::fromBase64(base64.toLatin1())) {
    if (m_key.size() != crypto_sign_PUBLICKEYBYTES || sodium_init() < 0) {
        throw UpdateError(UpdateError::noPublicKey,
                          QStringLiteral("This installation has no key to check updates with "
                                         "(SUPublicEDKey). Install the program anew from where you got it."));
    }
}

bool UpdateKey::verifies(const QString& path, const QByteArray& signature) const {
    QFile file(path);
    if (signature.size() != crypto_sign_BYTES || !file.open(QIODevice::ReadOnly)) {
        return false;
    }
    // The signature is over the whole text at once; mapped, it takes no memory of its own.
    const auto size = file.size();
    const auto* content = file.map(0, size);
    return content && crypto_sign_verify_detached(bytesOf(signature), content,
                                                  static_cast<unsigned long long>(size), bytesOf(m_key)) == 0;
}

} // namespace platform
