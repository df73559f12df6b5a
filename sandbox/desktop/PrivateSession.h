#pragma once

#include <QDir>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <map>
#include <memory>

// A session of its own: folders in a temporary place, a bus, a secret service. This process and those it
// starts live in it until it is destroyed, which ends its processes and restores the environment. Nothing is
// activated by name, unless a folder of services is given: who is on the bus was started. Operations that
// start or wait return false on failure.
class PrivateSession {
public:
    PrivateSession();
    ~PrivateSession();
    PrivateSession(const PrivateSession&) = delete;
    PrivateSession& operator=(const PrivateSession&) = delete;

    // The bus starts what `services` describes; what those print goes to busLog().
    bool startBus(const QString& services = {});
    void stopBus();
    // The bus of a desktop that is there already, in place of its own.
    void joinBus(const QString& address);

    // GNOME Keyring. The first start makes its login collection, a later one unlocks it; without a password
    // it stays locked.
    bool startKeyring(const QString& password);
    bool lockKeyring();
    bool unlockKeyring(const QString& password);
    void stopKeyring();
    void killKeyring();

    QString busAddress() const { return m_busAddress; }
    QString busLog() const { return m_folder.filePath(QStringLiteral("bus.log")); }
    QString folder() const { return m_folder.path(); }

private:
    void setVariable(const char* name, const QByteArray& value);
    bool waitForService(const QString& name);

    // The name of the program may hold blanks, which the address of a bus may not.
    QTemporaryDir m_folder{QDir::tempPath() + QStringLiteral("/session-XXXXXX")};
    QString m_busAddress = QStringLiteral("unix:path=") + m_folder.filePath(QStringLiteral("bus"));
    std::map<QByteArray, QByteArray> m_oldVariables;
    std::unique_ptr<QProcess> m_bus;
    std::unique_ptr<QProcess> m_keyring;
};
