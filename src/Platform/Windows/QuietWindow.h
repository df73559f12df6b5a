#pragma once

class QRegion;
class QWindow;

// Manners of a window that floats beside another program's, for X11 by the Extended Window Manager Hints. On
// another platform each call does nothing. Main thread; the window must have been created.
namespace platform {

// Whether this desktop lets a window stay above the others.
bool canStayAbove();
// Above normal windows, or among them. A window that was hidden has lost this and what follows.
void setStaysAbove(QWindow& window, bool above);
// Left out of the taskbar and the pager.
void setSkipsTaskbar(QWindow& window, bool skips);
void setOnEveryDesktop(QWindow& window);
// For good: its showing leaves the keyboard where it is.
void setShowsQuietly(QWindow& window);

// What of the window there is: elsewhere the windows beneath are seen and take the clicks.
void setShape(QWindow& window, const QRegion& shape);

} // namespace platform
