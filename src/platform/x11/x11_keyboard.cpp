#include "platform/x11/x11_keyboard.h"

#include "platform/app_error.h"

#include <QString>

#include <algorithm>

namespace platform::x11 {

namespace {

[[noreturn]] void cannotReadMap() {
    throw AppError(70, QStringLiteral("Permission denied: cannot read the keyboard map of the X "
                                      "display"));
}

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

bool hasNoSymbol(XkbDescPtr desc, KeyCode keycode) {
    const KeySym* syms = XkbKeySymsPtr(desc, keycode);
    for (int i = 0; i < XkbKeyNumSyms(desc, keycode); ++i)
        if (syms[i] != NoSymbol)
            return false;
    return true;
}

} // namespace

KeyboardDesc readKeyboardDesc(Display* display) {
    KeyboardDesc desc(XkbGetMap(display, XkbKeyTypesMask | XkbKeySymsMask, XkbUseCoreKbd));
    if (!desc)
        cannotReadMap();
    return desc;
}

KeyboardMap KeyboardMap::read(Display* display) {
    const KeyboardDesc desc = readKeyboardDesc(display);
    XkbStateRec state{};
    if (XkbGetState(display, XkbUseCoreKbd, &state) != Success)
        cannotReadMap();
    return fromDesc(desc.get(), state.group);
}

KeyboardMap KeyboardMap::fromDesc(XkbDescPtr desc, int activeGroup) {
    KeyboardMap map;
    map.min_ = desc->min_key_code;
    map.activeGroup_ = activeGroup;
    map.keys_.resize(std::size_t(desc->max_key_code - desc->min_key_code + 1));
    for (int code = desc->min_key_code; code <= desc->max_key_code; ++code) {
        const auto keycode = KeyCode(code);
        Key& key = map.keys_[std::size_t(keycode - map.min_)];
        for (int group = 0; group < XkbKeyNumGroups(desc, keycode); ++group) {
            const XkbKeyTypeRec& type = *XkbKeyKeyType(desc, keycode, group);
            KeysymPair pair{symbolAt(desc, keycode, group, 0), NoSymbol};
            if (const auto level = shiftLevel(type); level && *level > 0)
                pair.shifted = symbolAt(desc, keycode, group, *level);
            key.groups.push_back(pair);
        }
        if (!key.groups.empty())
            key.first = {symbolAt(desc, keycode, 0, 0), symbolAt(desc, keycode, 0, 1)};
        key.empty = hasNoSymbol(desc, keycode);
    }
    return map;
}

KeysymPair KeyboardMap::firstGroup(KeyCode keycode) const {
    return keys_.at(std::size_t(keycode - min_)).first;
}

bool KeyboardMap::isEmpty(KeyCode keycode) const {
    return keys_.at(std::size_t(keycode - min_)).empty;
}

int KeyboardMap::effectiveGroup(const Key& key, int group) {
    const int groups = int(key.groups.size());
    return group < groups ? group : group % groups;
}

void KeyboardMap::index(const std::set<KeyCode>& leaveOut) {
    strokes_.clear();
    // The active group first, so that a keysym found there is typed without switching groups;
    // within a group plain keys before shifted ones, the lowest key of each kind winning. A
    // keysym that is both somewhere plain and elsewhere shifted is typed without Shift.
    int groupCount = 0;
    for (const Key& key : keys_)
        groupCount = std::max(groupCount, int(key.groups.size()));
    std::vector<int> groupOrder{activeGroup_};
    for (int group = 0; group < groupCount; ++group)
        if (group != activeGroup_)
            groupOrder.push_back(group);
    for (const int group : groupOrder) {
        for (const bool shift : {false, true}) {
            for (std::size_t i = 0; i < keys_.size(); ++i) {
                const auto keycode = KeyCode(min_ + i);
                const Key& key = keys_[i];
                if (key.groups.empty() || leaveOut.contains(keycode))
                    continue;
                // Another group is reached by making it the active one: a key with fewer
                // groups would then show one of its own instead.
                if (group != activeGroup_ && group >= int(key.groups.size()))
                    continue;
                const KeysymPair& pair = key.groups[std::size_t(effectiveGroup(key, group))];
                const KeySym keysym = shift ? pair.shifted : pair.plain;
                if (keysym != NoSymbol)
                    strokes_.emplace(keysym, KeyStroke{keycode, shift, group});
            }
        }
    }
}

std::optional<KeyStroke> KeyboardMap::find(KeySym keysym) const {
    if (const auto found = strokes_.find(keysym); found != strokes_.end())
        return found->second;
    return std::nullopt;
}

std::optional<KeyStroke> KeyboardMap::findCharacter(char32_t character) const {
    // Either keysym will do; one in the active group is worth more than a group switch.
    const auto legacy = find(keysymForCharacter(character));
    const auto unicode = find(unicodeKeysym(character));
    if (legacy && (legacy->group == activeGroup_ || !unicode || unicode->group != activeGroup_))
        return legacy;
    return unicode;
}

} // namespace platform::x11
