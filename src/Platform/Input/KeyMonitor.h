#pragma once

#include "Platform/Input/DesktopKeys.h"
#include "Platform/Input/KeyEvent.h"

#include <QList>
#include <QMap>
#include <QObject>

#include <functional>
#include <memory>
#include <vector>

namespace platform {

// Which keys this program can see.
enum class KeyReach {
    everywhere, // those of all programs
    ownWindows, // only those of our own windows
    desktop     // those of our own windows, and those that the desktop watches for us
};

enum class KeyMask { down = 1024, up = 2048 };

// A key that the desktop is asked to watch, given by its code or by what it types, in lower case.
struct DesktopShortcut {
    QString id;
    QString description;
    quint32 modifierFlags = 0;
    int keyCode = keycode::none;
    QString keyName;
    bool operator==(const DesktopShortcut&) const = default;
};

// Watches the keyboard. Main thread.
class KeyMonitor : public QObject {
    Q_OBJECT

public:
    // Destroying it removes its monitor, even from within the handler.
    class Handle {
    public:
        virtual ~Handle() = default;
    };
    using GlobalHandler = std::function<void(const KeyEvent&)>;
    // Returns true to keep the event from the window.
    using LocalHandler = std::function<bool(const KeyEvent&)>;

    // Watches the keys of other programs, which still receive them.
    std::unique_ptr<Handle> addGlobalMonitor(KeyMask mask, GlobalHandler handler);
    // Watches the keys of this program's windows.
    std::unique_ptr<Handle> addLocalMonitor(KeyMask mask, LocalHandler handler);

    virtual KeyReach reach() const { return KeyReach::ownWindows; }
    // Replaces the keys that the desktop watches, where reach() depends on it; elsewhere this does nothing.
    // The desktop takes these keys from the programs, so a key without Command, Control or Option is left
    // out.
    virtual void setDesktopShortcuts(const QList<DesktopShortcut>& shortcuts) { Q_UNUSED(shortcuts) }
    // Returns what the desktop watches, by id: its own description of the key, which the user may have
    // changed.
    virtual QMap<QString, QString> desktopTriggers() const { return {}; }
    // Returns the keys that the desktop acts on itself, by its current settings.
    virtual QList<DesktopKey> keysOfDesktop() const { return {}; }
    // Returns whether the desktop has refused to watch keys for this program.
    virtual bool isRefusedByDesktop() const { return false; }

Q_SIGNALS:
    // Emitted when reach() or desktopTriggers() changes.
    void reachChanged();
    // The end of a press may be missed: a keyboard was unplugged, the machine slept, or the focus moved to a
    // window whose keys cannot be seen.
    void keysLost();
    // The focus moved between this program's windows, out of them or into them.
    void focusMoved();
    void desktopShortcutPressed(const QString& id);
    void desktopShortcutReleased(const QString& id);

protected:
    void deliverGlobal(KeyMask mask, const KeyEvent& event);
    // Returns true if a handler consumed the event.
    bool deliverLocal(KeyMask mask, const KeyEvent& event);
    bool hasMonitors() const { return !m_monitors.empty(); }
    // Called when the first monitor is added and when the last one is removed.
    virtual void watchingChanged() {}

private:
    struct Monitor;
    class Registration;
    std::unique_ptr<Handle> add(std::shared_ptr<Monitor> monitor);
    bool deliver(bool isGlobal, KeyMask mask, const KeyEvent& event);

    std::vector<std::shared_ptr<Monitor>> m_monitors;
};

// Creates the monitor for the desktop that this runs on.
std::unique_ptr<KeyMonitor> makeDesktopKeyMonitor();

} // namespace platform
