#include "Services/KeyString.h"
#include "fuzz/Fuzzing.h"

using namespace corvane;

void fuzz(const QByteArray& input) {
    const auto text = QString::fromUtf8(input);
    const auto key = KeyString::parse(text);
    ALWAYS((key.modifierFlags & ~platform::modifier::all) == 0);
    ALWAYS(!key.name.contains(u'+'));
    ALWAYS(shownKey(text).isEmpty() == (key.name.isEmpty() && key.modifierFlags == 0));

    // A pressed key is written so that it matches the key again, and the written form is stable.
    const platform::KeyEvent event{
        .modifierFlags = key.modifierFlags, .charactersIgnoringModifiers = key.name, .keyCode = key.keyCode};
    if (const auto written = KeyString::of(event)) {
        const auto again = KeyString::parse(*written);
        ALWAYS(again.matchesEvent(event, key.name.toLower()));
        ALWAYS(again.modifierFlags == key.modifierFlags && again.keyCode == key.keyCode);
        ALWAYS(KeyString::of({.modifierFlags = again.modifierFlags,
                              .charactersIgnoringModifiers = again.name,
                              .keyCode = again.keyCode}));
    }
}
