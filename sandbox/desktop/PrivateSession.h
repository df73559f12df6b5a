#pragma once

#include <QDir>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <map>
#include <memory>

// A private session: folders in a temporary place, a bus and a secret service. This process and its children
// use it until it is destroyed, which ends its processes and restores the environment. No service is
// activated by name unless a folder of services is given. Operations that start or wait return false on
// failure.
class PrivateSession {
public:
    PrivateSession();
    ~PrivateSession();
    PrivateSession(const PrivateSession&) = delete;
    PrivateSession& operator=(const PrivateSession&) = delete;

    // The bus activates the services that the folder `services` describes; their output goes to busLog().
    bool startBus(const QString& services = {});
    void stopBus();
    // Uses the bus of an existing desktop instead of its own.
    void joinBus(const QString& address);

    // Starts GNOME Keyring. The first start creates its login collection, and later ones unlock it; without a
    // password it stays locked.
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

    // The program's name may contain spaces, which the address of a bus may not.
    QTemporaryDir m_folder{QDir::tempPath() + QStringLiteral("/session-XXXXXX")};
    QString m_busAddress = QStringLiteral("unix:path=") + m_folder.filePath(QStringLiteral("bus"));
    std::map<QByteArray, QByteArray> m_oldVariables;
    std::unique_ptr<QProcess> m_bus;
    std::unique_ptr<QProcess> m_keyring;
};
