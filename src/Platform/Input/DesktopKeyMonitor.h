#pragma once

#include "Platform/Input/GlobalShortcutsPortal.h"
#include "Platform/Input/KeyMonitor.h"
#include "Platform/Input/X11Keyboard.h"

#include <QScopedPointer>

class QKeyEvent;
class QWindow;

namespace platform {

// Watches the keys of our own windows with the application's event filter, and those of other programs
// through the X server or, under Wayland, where programs cannot see each other's keys, through the desktop's
// portal.
class DesktopKeyMonitor : public KeyMonitor {
    Q_OBJECT

public:
    KeyReach reach() const override;
    void setDesktopShortcuts(const QList<DesktopShortcut>& shortcuts) override;
    QMap<QString, QString> desktopTriggers() const override;
    QList<DesktopKey> keysOfDesktop() const override { return desktopKeys(); }
    bool isRefusedByDesktop() const override { return m_portal && m_portal->isRefused(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void watchingChanged() override;

private Q_SLOTS:
    void prepareForSleep();

private:
    // A press can arrive in two ways if the focus moves meanwhile; the server's time identifies it.
    struct Press {
        quint32 code = 0;
        quint32 time = 0;
        bool operator==(const Press&) const = default;
    };

    void start();
    void stop();
    void followSleep();
    void openKeyboard();
    void openPortal();
    bool hadFocus();
    void followFocusOf(const QWindow& window);
    void takeSessionKey(const X11Keyboard::Key& key);
    bool takeOwnKey(const QKeyEvent& key);
    bool isModifier(const QKeyEvent& key) const;
    static Press pressOf(const QKeyEvent& key);
    KeyEvent eventOf(const QKeyEvent& key) const;
    // Returns an event with the modifiers, the characters and the code of the key.
    KeyEvent codesOf(const QKeyEvent& key) const;

    // Deleted later, because they may be removed while they emit a signal.
    QScopedPointer<X11Keyboard, QScopedPointerDeleteLater> m_keyboard;
    QScopedPointer<GlobalShortcutsPortal, QScopedPointerDeleteLater> m_portal;
    bool m_seesAllPrograms = false;
    Press m_lastOwn;
    Press m_lastOwnRelease;
    Press m_lastOfOthers;
};

} // namespace platform
