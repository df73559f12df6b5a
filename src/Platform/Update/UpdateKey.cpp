#include "Platform/Update/UpdateKey.h"

#include "Platform/Update/Appcast.h"
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
        throw UpdateError(
            UpdateError::noPublicKey,
            QStringLiteral("This installation has no key to check updates with "
                           "(SUPublicEDKey). Install the program again from where you got it."));
    }
}

bool UpdateKey::verifies(int descriptor, const QByteArray& signature) const {
    QFile file;
    if (signature.size() != crypto_sign_BYTES || !file.open(descriptor, QIODevice::ReadOnly)) {
        return false;
    }
    // The signature covers the whole file at once. The file is read, not mapped: a mapped file that another
    // program truncates meanwhile ends this one by a signal.
    file.seek(0);
    const auto content = file.read(appcast::largestPackage + 1);
    return !content.isEmpty() && content.size() <= appcast::largestPackage &&
           crypto_sign_verify_detached(bytesOf(signature), bytesOf(content),
                                       static_cast<unsigned long long>(content.size()), bytesOf(m_key)) == 0;
}

void UpdateKey::requireSignature(int descriptor, const QByteArray& signature) const {
    if (!verifies(descriptor, signature)) {
        throw UpdateError(UpdateError::badSignature,
                          QStringLiteral("The update is not signed by the makers of this program, so it was "
                                         "thrown away. Contact the administrator of the update server."));
    }
}

} // namespace platform
