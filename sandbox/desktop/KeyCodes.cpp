#include "sandbox/desktop/KeyCodes.h"

#include <array>
#include <stdexcept>

namespace {

struct Row {
    const char* plain;
    const char* shifted;
    int firstCode;
};
constexpr std::array keyboard{Row{"1234567890-=", "!@#$%^&*()_+", 2}, Row{"qwertyuiop[]", "QWERTYUIOP{}", 16},
                              Row{"asdfghjkl;'`", "ASDFGHJKL:\"~", 30},
                              Row{"\\zxcvbnm,./", "|ZXCVBNM<>?", 43}, Row{" ", "", 57}};

struct Named {
    const char* name;
    int code;
};
constexpr std::array keyNames{Named{"Escape", 1},  Named{"BackSpace", 14}, Named{"Tab", 15},
                              Named{"Return", 28}, Named{"ctrl", 29},      Named{"shift", 42},
                              Named{"alt", 56},    Named{"F4", 62},        Named{"F11", 87},
                              Named{"Up", 103},    Named{"Left", 105},     Named{"Right", 106},
                              Named{"Down", 108},  Named{"Delete", 111},   Named{"super", 125}};
constexpr int shift = 42;

// Returns the keys that are pressed together for one character, with the last one last; empty if there are
// none.
QList<int> keysFor(QChar sign) {
    for (const auto& row : keyboard) {
        if (const auto at = QLatin1String(row.plain).indexOf(sign); at >= 0) {
            return {row.firstCode + static_cast<int>(at)};
        }
        if (const auto at = QLatin1String(row.shifted).indexOf(sign); at >= 0) {
            return {shift, row.firstCode + static_cast<int>(at)};
        }
    }
    return {};
}

QList<int> keysFor(const QString& name) {
    for (const auto& [known, code] : keyNames) {
        if (name == QLatin1String(known)) {
            return {code};
        }
    }
    const auto keys = name.size() == 1 ? keysFor(name.front()) : QList<int>();
    if (keys.isEmpty()) {
        throw std::runtime_error("No key for \"" + name.toStdString() + "\".");
    }
    return keys;
}

void add(QList<KeyMove>& moves, const QList<int>& keys) {
    for (const int code : keys) {
        moves.append({.code = code, .down = true});
    }
    for (auto code = keys.rbegin(); code != keys.rend(); ++code) {
        moves.append({.code = *code, .down = false});
    }
}

} // namespace

QList<KeyMove> movesForText(const QString& text) {
    QList<KeyMove> moves;
    for (const auto sign : text) {
        add(moves, keysFor(QString(sign)));
    }
    return moves;
}

QList<KeyMove> movesForKeys(const QString& keys) {
    QList<int> together;
    for (const auto& name : keys.split(u'+')) {
        together += keysFor(name);
    }
    QList<KeyMove> moves;
    add(moves, together);
    return moves;
}
