#pragma once

#include "sandbox/desktop/KeyCodes.h"
#include "sandbox/desktop/WaylandWire.h"

#include <QPoint>
#include <QSize>

// Virtual input devices, one class for each protocol. They exist as long as the object.

// A pointer and a keyboard, by KWin's fake-input protocol.
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

// A pointer, by the virtual-pointer protocol of wlroots.
class WlrootsPointer {
public:
    // Places are relative to `desktop`.
    WlrootsPointer(const QStringList& relay, QSize desktop);

    void movePointer(QPoint place);
    void setButton(bool pressed);

private:
    void endFrame();

    const QSize m_desktop;
    WaylandWire m_wire;
    quint32 m_pointer;
};
