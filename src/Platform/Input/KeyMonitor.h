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

// Which keys are seen.
enum class KeyReach {
    everywhere, // those of all programs
    ownWindows, // only those that our own windows are given
    desktop     // our own windows', and what the desktop itself watches for us
};

enum class KeyMask { down = 1024, up = 2048 };

// A key that the desktop is asked to watch: one with a code, or what it types in lower case.
struct DesktopShortcut {
    QString id;
    QString description;
    quint32 modifierFlags = 0;
    int keyCode = keycode::none;
    QString keyName;
    bool operator==(const DesktopShortcut&) const = default;
};

// The keyboard. Main thread.
class KeyMonitor : public QObject {
    Q_OBJECT

public:
    // Its monitor is removed when it goes, also from within the handler.
    class Handle {
    public:
        virtual ~Handle() = default;
    };
    using GlobalHandler = std::function<void(const KeyEvent&)>;
    // True: the window is not given the event.
    using LocalHandler = std::function<bool(const KeyEvent&)>;

    // Of other programs, which get their keys all the same.
    std::unique_ptr<Handle> addGlobalMonitor(KeyMask mask, GlobalHandler handler);
    // Of this program's windows.
    std::unique_ptr<Handle> addLocalMonitor(KeyMask mask, LocalHandler handler);

    virtual KeyReach reach() const { return KeyReach::ownWindows; }
    // What the desktop is to watch from now on, where reach() depends on it; elsewhere nothing happens. The
    // desktop takes these keys from the programs, so a key without Command, Control or Option is left out.
    virtual void setDesktopShortcuts(const QList<DesktopShortcut>& shortcuts) { Q_UNUSED(shortcuts) }
    // What the desktop watches, by id: its own words for the key, which its user may have changed.
    virtual QMap<QString, QString> desktopTriggers() const { return {}; }
    // What the desktop acts on itself, as it is set now.
    virtual QList<DesktopKey> keysOfDesktop() const { return {}; }
    // It was asked, and does not allow it to this program.
    virtual bool isRefusedByDesktop() const { return false; }

Q_SIGNALS:
    // Of reach() and desktopTriggers().
    void reachChanged();
    // The end of a press may go unseen: a keyboard went away, the machine slept, the focus moved to where
    // nothing is seen.
    void keysLost();
    // From one of this program's windows to another, out of them or into them.
    void focusMoved();
    void desktopShortcutPressed(const QString& id);
    void desktopShortcutReleased(const QString& id);

protected:
    void deliverGlobal(KeyMask mask, const KeyEvent& event);
    // True: consumed.
    bool deliverLocal(KeyMask mask, const KeyEvent& event);
    bool hasMonitors() const { return !m_monitors.empty(); }
    // The first monitor came, or the last one went.
    virtual void watchingChanged() {}

private:
    struct Monitor;
    class Registration;
    std::unique_ptr<Handle> add(std::shared_ptr<Monitor> monitor);
    bool deliver(bool isGlobal, KeyMask mask, const KeyEvent& event);

    std::vector<std::shared_ptr<Monitor>> m_monitors;
};

// The keyboard of the desktop that this runs on.
std::unique_ptr<KeyMonitor> makeDesktopKeyMonitor();

} // namespace platform
