#pragma once

#include "platform/send_keys.h"

#include <X11/X.h>

// Keysyms for what the send-key list asks for. A character can have more than one keysym:
// Latin-1 characters are their own keysyms, many others have a legacy keysym from before
// Unicode (Greek, Cyrillic, the Euro sign ...), and every character has a Unicode keysym.
// Layouts use the legacy ones where they exist.
namespace platform::x11 {

// The keysym a key is given for a character: the Latin-1 or legacy keysym where one exists,
// else the Unicode keysym.
KeySym keysymForCharacter(char32_t character);

// The Unicode keysym of a character (0x1000000 + code point), which a layout may use instead.
KeySym unicodeKeysym(char32_t character);

KeySym keysymForNamedKey(NamedKey key);

// The lower- and upper-case keysyms for a character that has a case pair ("a", "A"), else the
// character's keysym twice: what a spare key is given so that the character comes out the same
// whatever the Shift state.
struct KeysymPair {
    KeySym plain = NoSymbol;
    KeySym shifted = NoSymbol;
    bool operator==(const KeysymPair&) const = default;
};
KeysymPair keysymPairForCharacter(char32_t character);

} // namespace platform::x11
