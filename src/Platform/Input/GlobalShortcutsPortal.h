#pragma once

#include "Platform/Input/KeyMonitor.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>

namespace platform {

// Has the desktop watch keys for this program, by org.freedesktop.portal.GlobalShortcuts. Main thread.
class GlobalShortcutsPortal : public QObject {
    Q_OBJECT

public:
    GlobalShortcutsPortal();
    ~GlobalShortcutsPortal() override;

    // Replaces the watched shortcuts, asynchronously. The desktop may ask the user, and may leave some out.
    void watch(const QList<DesktopShortcut>& shortcuts);
    // Returns the shortcuts that the desktop watches, by id, with its own description of the key.
    const QMap<QString, QString>& triggers() const { return m_triggers; }
    // Returns whether the desktop or the user has refused this program.
    bool isRefused() const { return m_isRefused; }

Q_SIGNALS:
    // Also emitted when isRefused() changes.
    void triggersChanged();
    void pressed(const QString& id);
    void released(const QString& id);
    // Nothing is watched any more, so the end of a press may have been missed.
    void lost();

private Q_SLOTS:
    void activated(const QDBusMessage& message);
    void deactivated(const QDBusMessage& message);
    void shortcutsChanged(const QDBusMessage& message);
    void forgetSession();

private:
    bool isOurs(const QDBusMessage& message) const;
    void scheduleUpdate();
    void update();
    QCoro::Task<void> bindWanted();
    QCoro::Task<void> bind(QList<DesktopShortcut> shortcuts);
    void listen(const char* interface, const QString& path, const char* signal, const char* slot);
    void closeSession();
    void setRefused(bool refused);
    void setTriggers(const QMap<QString, QString>& triggers);

    QDBusConnection m_bus = QDBusConnection::sessionBus();
    QDBusServiceWatcher m_portal;
    QList<DesktopShortcut> m_wanted;
    QList<DesktopShortcut> m_bound; // bound or refused
    QString m_session;
    QMap<QString, QString> m_triggers;
    bool m_isRefused = false;
    bool m_updateScheduled = false;
    bool m_isBinding = false;
};

} // namespace platform
