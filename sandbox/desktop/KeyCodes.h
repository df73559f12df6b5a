#pragma once

#include <QList>
#include <QString>

// A key of a US keyboard that goes down or comes up; `code` as the kernel's input-event-codes.h has it.
struct KeyMove {
    int code = 0;
    bool down = false;
};

// All of these throw std::runtime_error for what such a keyboard does not have.
QList<KeyMove> movesForText(const QString& text);
// As xdotool names keys: "Return", "ctrl+v".
QList<KeyMove> movesForKeys(const QString& keys);
