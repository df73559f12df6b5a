#pragma once

#include "Platform/Input/GlobalShortcutsPortal.h"
#include "Platform/Input/KeyMonitor.h"
#include "Platform/Input/X11Keyboard.h"

#include <QScopedPointer>

class QKeyEvent;
class QWindow;

namespace platform {

// Our own windows' keys by the application's event filter; those of other programs from the X server, or,
// under Wayland, where no program sees another's keys, what the desktop watches for us.
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
    // One press reaches us on two ways when the focus moves meanwhile; the server's time tells.
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
    // Its modifiers, its characters and its code.
    KeyEvent codesOf(const QKeyEvent& key) const;

    // They may end while they report.
    QScopedPointer<X11Keyboard, QScopedPointerDeleteLater> m_keyboard;
    QScopedPointer<GlobalShortcutsPortal, QScopedPointerDeleteLater> m_portal;
    bool m_seesAllPrograms = false;
    Press m_lastOwn;
    Press m_lastOwnRelease;
    Press m_lastOfOthers;
};

} // namespace platform
