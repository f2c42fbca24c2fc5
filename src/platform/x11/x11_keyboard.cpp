#include "platform/x11/x11_keyboard.h"

#include "platform/app_error.h"

#include <QString>

#include <X11/XKBlib.h>
#include <memory>

namespace platform::x11 {

namespace {

struct KeyboardDescFree {
    void operator()(XkbDescPtr desc) const { XkbFreeKeyboard(desc, XkbAllComponentsMask, True); }
};
using KeyboardDesc = std::unique_ptr<XkbDescRec, KeyboardDescFree>;

// The level Shift alone selects in a key type, if it selects one.
std::optional<int> shiftLevel(const XkbKeyTypeRec& type) {
    for (int i = 0; i < type.map_count; ++i) {
        const XkbKTMapEntryRec& entry = type.map[i];
        if (entry.active && entry.mods.mask == ShiftMask)
            return entry.level;
    }
    return std::nullopt;
}

KeySym symbolAt(XkbDescPtr desc, KeyCode keycode, int group, int level) {
    if (level >= XkbKeyGroupWidth(desc, keycode, group))
        return NoSymbol;
    return XkbKeySymEntry(desc, keycode, level, group);
}

} // namespace

KeyboardMap KeyboardMap::read(Display* display) {
    KeyboardDesc desc(XkbGetMap(display, XkbKeyTypesMask | XkbKeySymsMask, XkbUseCoreKbd));
    XkbStateRec state{};
    if (!desc || XkbGetState(display, XkbUseCoreKbd, &state) != Success)
        throw AppError(70, QStringLiteral("Permission denied: cannot read the keyboard map of "
                                          "the X display"));
    KeyboardMap map;
    map.min_ = desc->min_key_code;
    map.keys_.resize(std::size_t(desc->max_key_code - desc->min_key_code + 1));
    for (int keycode = desc->min_key_code; keycode <= desc->max_key_code; ++keycode) {
        Key& key = map.keys_[std::size_t(keycode - map.min_)];
        const int groups = XkbKeyNumGroups(desc.get(), keycode);
        if (groups == 0)
            continue;
        // A key with fewer groups than the active one wraps around, as the server does.
        const int group = state.group < groups ? state.group : state.group % groups;
        const XkbKeyTypeRec& type = *XkbKeyKeyType(desc.get(), keycode, group);
        key.active.plain = symbolAt(desc.get(), keycode, group, 0);
        if (const auto level = shiftLevel(type); level && *level > 0)
            key.active.shifted = symbolAt(desc.get(), keycode, group, *level);
        key.first = {symbolAt(desc.get(), keycode, 0, 0), symbolAt(desc.get(), keycode, 0, 1)};
        key.empty = key.first == KeysymPair{} && key.active == KeysymPair{};
    }
    return map;
}

KeysymPair KeyboardMap::firstGroup(KeyCode keycode) const {
    return keys_.at(std::size_t(keycode - min_)).first;
}

bool KeyboardMap::isEmpty(KeyCode keycode) const {
    return keys_.at(std::size_t(keycode - min_)).empty;
}

void KeyboardMap::index(const std::set<KeyCode>& leaveOut) {
    strokes_.clear();
    // Plain keys first, then shifted ones; the lowest key of each kind wins. A keysym that is
    // both somewhere plain and elsewhere shifted is typed without Shift.
    for (const bool shift : {false, true}) {
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            const auto keycode = KeyCode(min_ + i);
            const KeySym keysym = shift ? keys_[i].active.shifted : keys_[i].active.plain;
            if (keysym != NoSymbol && !leaveOut.contains(keycode))
                strokes_.emplace(keysym, KeyStroke{keycode, shift});
        }
    }
}

std::optional<KeyStroke> KeyboardMap::find(KeySym keysym) const {
    if (const auto found = strokes_.find(keysym); found != strokes_.end())
        return found->second;
    return std::nullopt;
}

std::optional<KeyStroke> KeyboardMap::findCharacter(char32_t character) const {
    if (auto stroke = find(keysymForCharacter(character)))
        return stroke;
    return find(unicodeKeysym(character));
}

} // namespace platform::x11
