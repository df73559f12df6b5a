#pragma once

#include "Platform/Input/KeyEvent.h"

#include <QList>
#include <QString>

namespace platform {

// A key that the desktop acts on itself: programs may see it, and do not get it alone.
struct DesktopKey {
    quint32 modifierFlags = 0;
    int keyCode = keycode::none; // of a key that has one
    QString keyName;             // of the others what they type, or the name of the symbol; in lower case
    bool operator==(const DesktopKey&) const = default;
};

// As GTK ("<Super><Shift>Left") and KDE ("Meta+Shift+Left") write them.
DesktopKey parseDesktopKey(const QString& text);

// Those of the running desktop (GNOME, KDE, Xfce) in its own settings; where they cannot be read, the ones
// that it is known to ship with and that matter here. Empty for another desktop.
QList<DesktopKey> desktopKeys();

} // namespace platform
