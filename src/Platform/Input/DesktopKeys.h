#pragma once

#include "Platform/Input/KeyEvent.h"

#include <QList>
#include <QString>

namespace platform {

// A key that the desktop acts on itself: programs may see it, but not exclusively.
struct DesktopKey {
    quint32 modifierFlags = 0;
    int keyCode = keycode::none; // if the key has one
    QString keyName;             // otherwise what the key types, or the name of its symbol; in lower case
    bool operator==(const DesktopKey&) const = default;
};

// Parses a key as GTK ("<Super><Shift>Left") or KDE ("Meta+Shift+Left") writes it.
DesktopKey parseDesktopKey(const QString& text);

// Returns the keys of the running desktop (GNOME, KDE, Xfce) from its own settings or, if they cannot be
// read, those of its defaults that matter here. Returns an empty list on other desktops.
QList<DesktopKey> desktopKeys();

} // namespace platform
