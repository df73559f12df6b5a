#include "Platform/Windows/UserAct.h"

#include "Platform/Windows/XcbWindow.h"

#include <QWindow>

namespace platform {

namespace {

constexpr uint32_t sourceApplication = 1;

quint32& lastAct() {
    static quint32 time = 0; // none yet
    return time;
}

} // namespace

void noteUserAct(quint32 time) {
    // The server's clock starts over after 49 days.
    if (lastAct() == 0 || qint32(time - lastAct()) > 0) {
        lastAct() = time;
    }
}

void noteUserActNow() {
    if (x11::connection()) {
        noteUserAct(x11::serverTime());
    }
}

// Qt asks in the name of the last event that it has seen itself, and of none of those that were told to
// others.
void takeKeyboard(QWindow& window) {
    const bool isNamed = x11::connection() && lastAct() != 0;
    if (!isNamed || !window.isExposed()) {
        window.requestActivate();
    }
    if (isNamed) {
        const auto id = x11::idOf(window);
        x11::setProperty(id, "_NET_WM_USER_TIME", XCB_ATOM_CARDINAL, {lastAct()});
        x11::tellManager(id, "_NET_ACTIVE_WINDOW", sourceApplication, lastAct());
    }
}

} // namespace platform
