#pragma once

#include "sandbox/desktop/UserHands.h"
#include "tests/Desktop/WindowedProgram.h"

namespace corvane {

// A test of the program's windows, by the hands of a user.
class DesktopTest : public QObject {
public:
    explicit DesktopTest(const PrivateDisplay& display)
        : m_display(display)
        , m_hands(display) {}

protected:
    bool showsUp(const QString& name) const {
        return waitUntil([&] { return m_hands.sees(name); });
    }
    // On the dashboard, where the layout that is under way will have put it: a picture waits for it.
    void clickOnDashboard(const QString& name) const {
        WindowedProgram::dashboard()->grabWindow();
        m_hands.click(name);
    }

    const PrivateDisplay& m_display;
    const UserHands m_hands;
};

// The same beside another program's window.
class NeighbourTest : public DesktopTest {
public:
    using DesktopTest::DesktopTest;

protected:
    void startNeighbour() {
        m_neighbour.start();
        m_neighbourId = m_display.awaitWindow(Neighbour::argument);
    }
    // Asks the server: Qt tells late.
    bool hasFocus(const QString& window) const {
        return waitUntil([&] { return m_display.xdotool({"getwindowfocus"}) == window; });
    }
    // The focus may have been there before the window manager comes to the click, which moves it once more.
    bool goesNextDoor() const {
        const auto before = m_neighbour.count("press");
        m_hands.clickAt(QPoint(640, 880));
        return waitUntil([&] { return m_neighbour.count("press") > before; }) && hasFocus(m_neighbourId);
    }

    Neighbour m_neighbour;
    QString m_neighbourId;
};

} // namespace corvane
