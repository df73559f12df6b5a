#pragma once

#include <QtGlobal>

class QString;

namespace platform {

// Return the code of a key by its XKB name, Qt key or symbol; keycode::none for keys without a code.
int keyCodeOfPlace(const char* xkbName); // such as "SPCE"
int keyCodeOfQtKey(int qtKey);
int keyCodeOfSymbol(const QString& symbol); // case-insensitive
// Returns the symbol of a key with a code, such as "Return"; null for other keys.
const char* symbolOf(int keyCode);

// Converts the state bits of X11 events. The lock keys have bits of their own, which are ignored.
quint32 modifierFlagsOfX11(quint32 state);

} // namespace platform
