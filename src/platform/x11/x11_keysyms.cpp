#include "platform/x11/x11_keysyms.h"

#include <QChar>

#include <X11/keysym.h>
#include <array>
#include <unordered_map>
#include <utility>

namespace platform::x11 {

namespace {

constexpr KeySym kUnicodeKeysymBase = 0x1000000;

struct LegacyKeysym {
    unsigned keysym;
    char32_t character;
};

constexpr LegacyKeysym kLegacyKeysyms[] = {
#include "platform/x11/keysym_unicode_table.inc"
};

bool isLatin1Character(char32_t character) {
    return (character >= 0x20 && character <= 0x7E) || (character >= 0xA0 && character <= 0xFF);
}

const std::unordered_map<char32_t, KeySym>& legacyKeysymsByCharacter() {
    static const auto table = [] {
        std::unordered_map<char32_t, KeySym> byCharacter;
        for (const auto& entry : kLegacyKeysyms)
            byCharacter.emplace(entry.character, entry.keysym); // the first keysym wins
        return byCharacter;
    }();
    return table;
}

} // namespace

KeySym keysymForCharacter(char32_t character) {
    if (isLatin1Character(character))
        return character;
    const auto& legacy = legacyKeysymsByCharacter();
    if (const auto found = legacy.find(character); found != legacy.end())
        return found->second;
    return unicodeKeysym(character);
}

KeySym unicodeKeysym(char32_t character) {
    return isLatin1Character(character) ? KeySym(character) : kUnicodeKeysymBase + character;
}

KeySym keysymForNamedKey(NamedKey key) {
    static constexpr std::array<std::pair<NamedKey, KeySym>, 24> kKeysyms{{
        {NamedKey::Backspace, XK_BackSpace},
        {NamedKey::Break, XK_Break},
        {NamedKey::CapsLock, XK_Caps_Lock},
        {NamedKey::Delete, XK_Delete},
        {NamedKey::Down, XK_Down},
        {NamedKey::End, XK_End},
        {NamedKey::Enter, XK_Return},
        {NamedKey::Escape, XK_Escape},
        {NamedKey::Help, XK_Help},
        {NamedKey::Home, XK_Home},
        {NamedKey::Insert, XK_Insert},
        {NamedKey::Left, XK_Left},
        {NamedKey::NumLock, XK_Num_Lock},
        {NamedKey::PageDown, XK_Next},
        {NamedKey::PageUp, XK_Prior},
        {NamedKey::PrintScreen, XK_Print},
        {NamedKey::Right, XK_Right},
        {NamedKey::ScrollLock, XK_Scroll_Lock},
        {NamedKey::Tab, XK_Tab},
        {NamedKey::Up, XK_Up},
        {NamedKey::Add, XK_KP_Add},
        {NamedKey::Subtract, XK_KP_Subtract},
        {NamedKey::Multiply, XK_KP_Multiply},
        {NamedKey::Divide, XK_KP_Divide},
    }};
    if (key >= NamedKey::F1 && key <= NamedKey::F16)
        return XK_F1 + (int(key) - int(NamedKey::F1));
    for (const auto& [named, keysym] : kKeysyms)
        if (named == key)
            return keysym;
    return NoSymbol;
}

KeysymPair keysymPairForCharacter(char32_t character) {
    const char32_t lower = QChar::toLower(character);
    const char32_t upper = QChar::toUpper(character);
    // Only a true pair: each case must lead back to the other.
    if (character == lower && upper != lower && QChar::toLower(upper) == lower)
        return {keysymForCharacter(lower), keysymForCharacter(upper)};
    if (character == upper && upper != lower && QChar::toUpper(lower) == upper)
        return {keysymForCharacter(lower), keysymForCharacter(upper)};
    const KeySym keysym = keysymForCharacter(character);
    return {keysym, keysym};
}

} // namespace platform::x11
