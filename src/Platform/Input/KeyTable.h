#pragma once

#include <QtGlobal>

class QString;

namespace platform {

// The keys that have a code, by what this platform calls their place.
int keyCodeOfPlace(const char* xkbName); // "SPCE"; keycode::none for the others
int keyCodeOfQtKey(int qtKey);
int keyCodeOfSymbol(const QString& symbol); // with whatever case
// The symbol of such a key: "Return".
const char* symbolOf(int keyCode);

// From the state bits that X11 events carry. The locks have bits of their own and do not count.
quint32 modifierFlagsOfX11(quint32 state);

} // namespace platform
