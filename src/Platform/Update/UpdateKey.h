#pragma once

#include <QByteArray>
#include <QString>

namespace platform {

// The public half of the Ed25519 key that signs the updates of a program.
class UpdateKey {
public:
    // Decodes a key from base64. Throws UpdateError if it is not a key.
    explicit UpdateKey(const QString& base64);

    // Throws UpdateError unless `signature` is this key's signature of a whole open file. Any thread.
    void requireSignature(int descriptor, const QByteArray& signature) const;

private:
    bool verifies(int descriptor, const QByteArray& signature) const;

    QByteArray m_key;
};

} // namespace platform
