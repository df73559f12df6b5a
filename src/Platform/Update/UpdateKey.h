#pragma once

#include <QByteArray>
#include <QString>

namespace platform {

// The public half of the Ed25519 key that the updates of a program are signed with.
class UpdateKey {
public:
    // From base64. Throws UpdateError for anything that is no key.
    explicit UpdateKey(const QString& base64);

    // Throws UpdateError unless `signature` is this key's over the whole of an open file. Any thread.
    void requireSignature(int descriptor, const QByteArray& signature) const;

private:
    bool verifies(int descriptor, const QByteArray& signature) const;

    QByteArray m_key;
};

} // namespace platform
