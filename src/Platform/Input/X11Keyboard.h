#pragma once

#include "Platform/Input/KeyLayout.h"

#include <QObject>

#include <xcb/xcb.h>

#include <memory>
#include <set>

namespace platform {

// The keys of a whole X11 display as the devices send them, before any program gets or grabs them (XInput2
// raw events). Sees, and takes nothing. On a connection of its own: it wakes for keys, their layout and the
// focus of our windows, and for nothing else. Main thread.
class X11Keyboard : public QObject {
    Q_OBJECT

public:
    struct Key {
        bool isPress;
        quint32 code;
        quint32 time;   // ms of the server
        quint32 state;  // the modifier bits of X11
        quint32 group;  // of the layout
        bool isARepeat; // these events do not say; a press of a held key is one
    };

    // Null without a display that has XInput 2.1 and XKB. What other programs are given is seen on request.
    static std::unique_ptr<X11Keyboard> open(bool ofAllPrograms);
    ~X11Keyboard() override;

    const KeyLayout& layout();
    // The window that gets the keys, or PointerRoot: it is the one under the pointer. Asks the server.
    quint32 focusedWindow();
    // From now on it is known of each key whether this window had the focus. Until its end is told.
    void followFocus(quint32 window);
    void unfollowFocus(quint32 window);
    bool followsFocus(quint32 window) const { return m_followed.contains(window); }
    // Of those that are followed, the one that had the focus at the key that was told last; 0 if none had.
    quint32 followedFocus() const { return m_followedFocus; }
    // Where the keys of all programs are seen.
    bool isHeld(quint32 code) const { return m_held.contains(code); }

Q_SIGNALS:
    void keyChanged(const platform::X11Keyboard::Key& key);
    // A keyboard has gone with its keys held, or the display with all.
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
