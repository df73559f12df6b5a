#pragma once

#include <QByteArray>
#include <QString>

namespace platform {

// The public half of the Ed25519 key that the updates of a program are signed with.
class UpdateKey {
public:
    // From base64. Throws UpdateError for anything that is no key.
    explicit UpdateKey(const QString& base64);

    // Whether `signature` is this key's over the whole file. False for a file that cannot be read. Any
    // thread.
    bool verifies(const QString& path, const QByteArray& signature) const;

private:
    QByteArray m_key;
};

} // namespace platform
