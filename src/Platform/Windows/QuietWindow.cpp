#include "Platform/Windows/QuietWindow.h"

#include "Platform/Desktop/WaylandSession.h"
#include "Platform/Windows/XcbWindow.h"

#include <QRegion>
#include <QVariant>
#include <QWindow>

#include <array>

namespace platform {

namespace {

constexpr uint32_t everyDesktop = 0xFFFFFFFF;
constexpr uint32_t sourceUser = 2; // a message's source: the user, whom window managers always obey

// The window manager changes the state of a mapped window; the state of an unmapped one is set in its
// property.
void setState(const QWindow& window, const char* name, bool on) {
    if (!x11::connection()) {
        return;
    }
    const auto state = x11::atom(name);
    if (window.isVisible()) {
        x11::tellManager(x11::idOf(window), "_NET_WM_STATE", on ? 1 : 0, state);
        return;
    }
    auto states = x11::values(x11::idOf(window), "_NET_WM_STATE");
    std::erase(states, state);
    if (on) {
        states.push_back(state);
    }
    x11::setProperty(x11::idOf(window), "_NET_WM_STATE", XCB_ATOM_ATOM, states);
}

// Returns whether the window manager supports the hint.
bool isSupported(const char* hint) {
    auto* x = x11::connection();
    return x && x11::holds(xcb_setup_roots_iterator(xcb_get_setup(x)).data->root, "_NET_SUPPORTED",
                           x11::atom(hint));
}

struct WindowFeature {
    const char* hint;
    const char* words;
};
constexpr std::array windowFeatures{
    WindowFeature{"_NET_WM_STATE_ABOVE", "stay above other windows"},
    WindowFeature{"_NET_WM_DESKTOP", "show on every workspace"},
    WindowFeature{"_NET_RESTACK_WINDOW", "come in front without the keyboard"},
    WindowFeature{"_NET_WM_USER_TIME", "leave the keyboard where it is when it shows"},
};

} // namespace

QStringList missingWindowFeatures() {
    QStringList denied;
    for (const auto& [hint, words] : windowFeatures) {
        if (!isSupported(hint)) {
            denied.append(QLatin1String(words));
        }
    }
    return denied;
}

bool canPlaceWindows() {
    return x11::connection() != nullptr;
}

bool pointerTracksWindow() {
    return !isWaylandSession() || isSupported("_NET_MOVERESIZE_WINDOW");
}

// KWin keeps the first type above full-screen windows; other window managers use the next type that they
// know. A utility window floats under tiling window managers. Qt::Tool is not used, because it makes the
// window a dialog of all others here, and KWin hides those while another program is active. KWin reads the
// type again when the state changes.
void setStaysAbove(QWindow& window, bool above) {
    if (x11::connection()) {
        std::vector<uint32_t> kinds{x11::atom("_NET_WM_WINDOW_TYPE_UTILITY"),
                                    x11::atom("_NET_WM_WINDOW_TYPE_NORMAL")};
        if (above) {
            kinds.insert(kinds.begin(), x11::atom("_KDE_NET_WM_WINDOW_TYPE_CRITICAL_NOTIFICATION"));
        }
        x11::setProperty(x11::idOf(window), "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, kinds);
    }
    setState(window, "_NET_WM_STATE_ABOVE", above);
}

void raiseQuietly(QWindow& window) {
    window.raise();
    // A plain raise is refused to a program that does not have the keyboard.
    if (x11::connection()) {
        x11::tellManager(x11::idOf(window), "_NET_RESTACK_WINDOW", sourceUser);
    }
}

void setSkipsTaskbar(QWindow& window, bool skips) {
    setState(window, "_NET_WM_STATE_SKIP_TASKBAR", skips);
    setState(window, "_NET_WM_STATE_SKIP_PAGER", skips);
}

void setOnEveryDesktop(QWindow& window) {
    if (!x11::connection()) {
        return;
    }
    if (window.isVisible()) {
        x11::tellManager(x11::idOf(window), "_NET_WM_DESKTOP", everyDesktop, 1);
    } else {
        x11::setProperty(x11::idOf(window), "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {everyDesktop});
    }
}

void setWindowRole(QWindow& window, const QByteArray& role) {
    if (x11::connection()) {
        xcb_change_property(x11::connection(), XCB_PROP_MODE_REPLACE, x11::idOf(window),
                            x11::atom("WM_WINDOW_ROLE"), XCB_ATOM_STRING, 8,
                            static_cast<uint32_t>(role.size()), role.constData());
    }
}

void setShowsQuietly(QWindow& window) {
    // Qt writes _NET_WM_USER_TIME each time a window is shown: 0 for a window with this property.
    window.setProperty("_q_showWithoutActivating", true);
}

void setShape(QWindow& window, const QRegion& shape) {
    if (isWaylandSession()) {
        return;
    }
    // An empty region would remove the shape, so this one lies outside the window.
    window.setMask(shape.isEmpty() ? QRegion(-2, -2, 1, 1) : shape);
    if (x11::connection()) {
        // Qt would send it with its next request, and a window without a shape makes none.
        xcb_flush(x11::connection());
    }
}

} // namespace platform
