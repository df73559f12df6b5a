#pragma once

#include <QList>
#include <QString>

// The press or release of a key on a US keyboard; `code` is from the kernel's input-event-codes.h.
struct KeyMove {
    int code = 0;
    bool down = false;
};

// Both throw std::runtime_error for what such a keyboard does not have.
QList<KeyMove> movesForText(const QString& text);
// Key names are those of xdotool: "Return", "ctrl+v".
QList<KeyMove> movesForKeys(const QString& keys);
