#pragma once

#include <QString>

#include <memory>

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace platform {

// Tells what the keys of an X11 keyboard are and type, by the server's layout. Main thread.
class KeyLayout {
public:
    // XKB must have been set up on the connection, which must outlive this object.
    explicit KeyLayout(xcb_connection_t* connection);
    ~KeyLayout();

    // Drops a layout that has changed on the server. It is read again at the next use.
    void forget();
    bool isModifier(quint32 key, quint32 group) const;
    // Return the values of KeyEvent's fields.
    int keyCode(quint32 key) const;
    QString characters(quint32 key, quint32 group, bool withShift) const;

private:
    bool load() const;

    xcb_connection_t* m_connection;
    // Created at the first key, so that starting does not wait for it.
    mutable xkb_context* m_context = nullptr;
    mutable xkb_keymap* m_keymap = nullptr;
    mutable xkb_state* m_state = nullptr; // holds only Shift and the group
};

} // namespace platform
