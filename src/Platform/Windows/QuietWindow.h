#pragma once

#include <QStringList>

class QRegion;
class QWindow;

// Properties of a window that floats beside another program's, for X11 by the Extended Window Manager Hints.
// On other platforms each call does nothing. Main thread; the window must have been created.
namespace platform {

// Returns what this desktop does not let a window do, in words that follow "does not let the bar"; empty if
// it allows everything.
QStringList missingWindowFeatures();
// Returns whether a program can position its windows.
bool canPlaceWindows();
// Returns whether the position of a pressed pointer within a window follows the moves of that window. wlroots
// reports it as if the window were still where the button was pressed.
bool pointerTracksWindow();
// If `above` is set, keeps the window above normal windows, and above full-screen ones if the desktop allows
// it. Hiding a window resets this and the properties below.
void setStaysAbove(QWindow& window, bool above);
// Raises the window once, without moving the keyboard focus.
void raiseQuietly(QWindow& window);
// Leaves the window out of the taskbar and the pager.
void setSkipsTaskbar(QWindow& window, bool skips);
void setOnEveryDesktop(QWindow& window);
// Sets the role by which the user's window rules can match the window.
void setWindowRole(QWindow& window, const QByteArray& role);
// Makes the window leave the keyboard focus alone whenever it is shown.
void setShowsQuietly(QWindow& window);

// Restricts the window to `shape`: outside it, the windows beneath are visible and take the clicks. Has no
// effect under Wayland, where the whole window takes clicks and should be no larger than what is drawn.
void setShape(QWindow& window, const QRegion& shape);

} // namespace platform
