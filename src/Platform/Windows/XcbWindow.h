#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <vector>

class QWindow;

// Queries and messages to the X server and its window manager. Main thread.
namespace platform::x11 {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template<typename Reply>
using Answer = std::unique_ptr<Reply, Free>;

// Returns null if the platform is not X11.
xcb_connection_t* connection();
xcb_atom_t atom(const char* name);
xcb_window_t rootOf(xcb_window_t window);
// The window must have been created by the platform.
xcb_window_t idOf(const QWindow& window);
// Returns the 32-bit values of a property; empty if the window or the property does not exist.
std::vector<uint32_t> values(xcb_window_t window, const char* property);
bool holds(xcb_window_t window, const char* property, uint32_t value);
void setProperty(xcb_window_t window, const char* name, xcb_atom_t type, const std::vector<uint32_t>& values);
// Asks the server for its current time, in ms.
uint32_t serverTime();
// Sends a message about `window` to the window manager.
void tellManager(xcb_window_t window, const char* message, uint32_t first, uint32_t second = 0);

} // namespace platform::x11
