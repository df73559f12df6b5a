#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <vector>

class QWindow;

// Small questions and messages to the X server and its window manager. Main thread.
namespace platform::x11 {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template<typename Reply>
using Answer = std::unique_ptr<Reply, Free>;

// Null where the desktop is no X11.
xcb_connection_t* connection();
xcb_atom_t atom(const char* name);
xcb_window_t rootOf(xcb_window_t window);
// A window that has been made by the platform.
xcb_window_t idOf(const QWindow& window);
// A list of 32-bit values; empty when the window or its property is not there.
std::vector<uint32_t> values(xcb_window_t window, const char* property);
bool holds(xcb_window_t window, const char* property, uint32_t value);
void setProperty(xcb_window_t window, const char* name, xcb_atom_t type, const std::vector<uint32_t>& values);
// Of this moment, in ms. Asks the server.
uint32_t serverTime();
// To the window manager, about `window`.
void tellManager(xcb_window_t window, const char* message, uint32_t first, uint32_t second = 0);

} // namespace platform::x11
