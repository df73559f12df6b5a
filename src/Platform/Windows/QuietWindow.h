#pragma once

class QWindow;

// Manners of a window that floats beside another program's, for X11 by the Extended Window Manager Hints. On
// another platform each call does nothing. Main thread; the window must have been created.
namespace platform {

// Before each showing: the window appears on every workspace and leaves the keyboard where it is.
void prepareQuietShow(QWindow& window);
// Above normal windows, or among them.
void setStaysAbove(QWindow& window, bool above);
// Left out of the taskbar and the pager.
void setSkipsTaskbar(QWindow& window, bool skips);

} // namespace platform
