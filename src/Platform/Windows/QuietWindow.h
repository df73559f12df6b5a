#pragma once

#include <QStringList>

class QRegion;
class QWindow;

// Manners of a window that floats beside another program's, for X11 by the Extended Window Manager Hints. On
// another platform each call does nothing. Main thread; the window must have been created.
namespace platform {

// What this desktop does not let a window do, in words to be said after "does not let the bar"; empty where
// it lets everything.
QStringList missingWindowFeatures();
// Whether a program decides where its windows stand.
bool canPlaceWindows();
// Above normal windows, also full-screen ones where the desktop lets it, or among them. A window that was
// hidden has lost this and what follows.
void setStaysAbove(QWindow& window, bool above);
// Above its neighbours, once: the keyboard stays where it is.
void raiseQuietly(QWindow& window);
// Left out of the taskbar and the pager.
void setSkipsTaskbar(QWindow& window, bool skips);
void setOnEveryDesktop(QWindow& window);
// For good: its showing leaves the keyboard where it is.
void setShowsQuietly(QWindow& window);

// What of the window there is: elsewhere the windows beneath are seen and take the clicks. Not under Wayland,
// where the whole window takes them: it is to be no larger than what is drawn.
void setShape(QWindow& window, const QRegion& shape);

} // namespace platform
