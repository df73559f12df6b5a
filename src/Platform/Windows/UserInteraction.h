#pragma once

#include <QtGlobal>

class QWindow;

// Records the user's last interaction with this program. A desktop gives a window the keyboard only for an
// interaction that is newer than the user's last one elsewhere. For X11, in ms of its server; on other
// platforms the desktop keeps track itself. Main thread.
namespace platform {

void noteUserInteraction(quint32 time);
// Records an interaction that happened just now, reported by a source that does not know the server's time.
void noteUserInteractionNow();
// Requests the keyboard for this window because of that interaction. Each call asks the desktop again, even
// while the window is being shown.
void takeKeyboard(QWindow& window);

} // namespace platform
