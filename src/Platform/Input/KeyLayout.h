#pragma once

#include <QString>

#include <memory>

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace platform {

// What the keys of an X11 keyboard are and type, by the layout that the server has. Main thread.
class KeyLayout {
public:
    // XKB has been set up on the connection, which outlives this.
    explicit KeyLayout(xcb_connection_t* connection);
    ~KeyLayout();

    // The server has another one: it is read when it is asked for.
    void forget();
    bool isModifier(quint32 key, quint32 group) const;
    // As KeyEvent has them.
    int keyCode(quint32 key) const;
    QString characters(quint32 key, quint32 group, bool withShift) const;

private:
    bool load() const;

    xcb_connection_t* m_connection;
    // Made at the first key: a start does not wait for it.
    mutable xkb_context* m_context = nullptr;
    mutable xkb_keymap* m_keymap = nullptr;
    mutable xkb_state* m_state = nullptr; // of nothing but Shift and the group
};

} // namespace platform
