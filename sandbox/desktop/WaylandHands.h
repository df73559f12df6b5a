#pragma once

#include "sandbox/desktop/KeyCodes.h"
#include "sandbox/desktop/WaylandWire.h"

#include <QPoint>
#include <QSize>

// Devices that are none, one a protocol. They come with the object and go with it.

// Of KWin's fake-input protocol: a pointer and a keyboard.
class KWinHands {
public:
    explicit KWinHands(const QStringList& relay);

    void movePointer(QPoint place);
    void setButton(bool pressed);
    void press(const QList<KeyMove>& moves);

private:
    WaylandWire m_wire;
    quint32 m_input;
};

// Of the wlroots protocol for virtual pointers.
class WlrootsPointer {
public:
    // Places are within `desktop`.
    WlrootsPointer(const QStringList& relay, QSize desktop);

    void movePointer(QPoint place);
    void setButton(bool pressed);

private:
    void endFrame();

    const QSize m_desktop;
    WaylandWire m_wire;
    quint32 m_pointer;
};
