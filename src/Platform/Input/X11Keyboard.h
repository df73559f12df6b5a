#pragma once

#include "Platform/Input/KeyLayout.h"

#include <QObject>

#include <xcb/xcb.h>

#include <memory>
#include <set>

namespace platform {

// Watches the keys of a whole X11 display as the devices send them, before any program receives or grabs them
// (XInput2 raw events). It consumes nothing. It has its own connection, which wakes up only for keys, their
// layout and the focus of our windows. Main thread.
class X11Keyboard : public QObject {
    Q_OBJECT

public:
    struct Key {
        bool isPress;
        quint32 code;
        quint32 time;   // ms, server time
        quint32 state;  // the modifier bits of X11
        quint32 group;  // of the layout
        bool isARepeat; // a press of a key that was already held
    };

    // Returns null without a display that has XInput 2.1 and XKB. Keys of other programs are watched only if
    // `ofAllPrograms` is set.
    static std::unique_ptr<X11Keyboard> open(bool ofAllPrograms);
    ~X11Keyboard() override;

    const KeyLayout& layout();
    // Asks the server for the focused window. PointerRoot means the window under the pointer.
    quint32 focusedWindow();
    // Tracks the focus of a window, so that it is known at each key. Call unfollowFocus() before the window
    // is destroyed.
    void followFocus(quint32 window);
    void unfollowFocus(quint32 window);
    bool followsFocus(quint32 window) const { return m_followed.contains(window); }
    // Returns the tracked window that had the focus at the last reported key; 0 if none had it.
    quint32 followedFocus() const { return m_followedFocus; }
    // Known only if the keys of all programs are watched.
    bool isHeld(quint32 code) const { return m_held.contains(code); }

Q_SIGNALS:
    void keyChanged(const platform::X11Keyboard::Key& key);
    // A keyboard was unplugged while its keys were held, or the display was closed.
    void keysLost();
    void closed();

private:
    explicit X11Keyboard(xcb_connection_t* connection);
    bool setUp(bool ofAllPrograms);
    bool selectKeyboardChanges();
    bool selectRawKeys();
    void readEvents();
    void readEventsSoon();
    void handle(const xcb_generic_event_t& event);
    void handleFocus(const xcb_generic_event_t& event);
    void handleRawKey(const xcb_generic_event_t& event, bool isPress);
    void handleKeyboardChange(const xcb_generic_event_t& event);

    xcb_connection_t* m_connection;
    KeyLayout m_layout;
    quint8 m_firstKeyboardEvent = 0;
    quint8 m_inputOpcode = 0;
    quint32 m_state = 0;
    quint32 m_group = 0;
    std::set<quint32> m_held;
    std::set<quint32> m_followed;
    quint32 m_followedFocus = 0;
    bool m_readingScheduled = false;
};

} // namespace platform
