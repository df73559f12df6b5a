#include "Platform/Windows/UserInteraction.h"

#include "Platform/Windows/XcbWindow.h"

#include <QWindow>

namespace platform {

namespace {

constexpr uint32_t sourceApplication = 1;

quint32& lastInteraction() {
    static quint32 time = 0; // 0 if there was none
    return time;
}

} // namespace

void noteUserInteraction(quint32 time) {
    // The server's clock wraps around after 49 days.
    if (lastInteraction() == 0 || qint32(time - lastInteraction()) > 0) {
        lastInteraction() = time;
    }
}

void noteUserInteractionNow() {
    if (x11::connection()) {
        noteUserInteraction(x11::serverTime());
    }
}

// Qt names the last event that it has seen itself, and does not know of events that were reported to others.
void takeKeyboard(QWindow& window) {
    const bool hasInteraction = x11::connection() && lastInteraction() != 0;
    if (!hasInteraction || !window.isExposed()) {
        window.requestActivate();
    }
    if (hasInteraction) {
        const auto id = x11::idOf(window);
        x11::setProperty(id, "_NET_WM_USER_TIME", XCB_ATOM_CARDINAL, {lastInteraction()});
        x11::tellManager(id, "_NET_ACTIVE_WINDOW", sourceApplication, lastInteraction());
    }
}

} // namespace platform
