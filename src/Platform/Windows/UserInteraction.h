#pragma once

#include <QtGlobal>

class QWindow;

// What the user did last with this program. A desktop gives a window the keyboard only in the name of an act
// that is newer than what the user has done elsewhere. For X11, in ms of its server; on another platform the
// desktop knows by itself. Main thread.
namespace platform {

void noteUserInteraction(quint32 time);
// Just now, as told by something that does not go by that clock.
void noteUserInteractionNow();
// The keyboard for this window, in the name of that act. Each call asks the desktop again, also one that
// comes while the window is being shown.
void takeKeyboard(QWindow& window);

} // namespace platform
