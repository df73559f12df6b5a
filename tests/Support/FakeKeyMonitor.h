#pragma once

#include "Platform/Input/KeyMonitor.h"

// A keyboard whose keys the test presses: in another program's window, or in one of ours.
class FakeKeyMonitor : public platform::KeyMonitor {
public:
    platform::KeyReach reach() const override { return reachNow; }
    void setDesktopShortcuts(const QList<platform::DesktopShortcut>& shortcuts) override {
        asked = shortcuts;
    }
    QMap<QString, QString> desktopTriggers() const override { return triggers; }

    QList<platform::DesktopKey> keysOfDesktop() const override { return taken; }

    void pressElsewhere(const platform::KeyEvent& event) { deliverGlobal(platform::KeyMask::down, event); }
    void releaseElsewhere() { deliverGlobal(platform::KeyMask::up, {}); }
    // Whether the program has kept it for itself.
    bool press(const platform::KeyEvent& event) { return deliverLocal(platform::KeyMask::down, event); }
    bool release() { return deliverLocal(platform::KeyMask::up, {}); }
    bool isWatched() const { return hasMonitors(); }

    platform::KeyReach reachNow = platform::KeyReach::everywhere;
    QMap<QString, QString> triggers;
    QList<platform::DesktopShortcut> asked;
    QList<platform::DesktopKey> taken;
};
