#include "platform/x11/x11_spare_keys.h"

#include "platform/app_error.h"

#include <QString>

#include <algorithm>
#include <thread>

namespace platform::x11 {

namespace {

// The server may store a pair of equal keysyms as a one-level key: compare them the same way.
KeysymPair normalized(KeysymPair pair) {
    if (pair.shifted == NoSymbol)
        pair.shifted = pair.plain;
    return pair;
}

void setKeysyms(Display* display, KeyCode keycode, KeysymPair pair) {
    KeySym keysyms[2] = {pair.plain, pair.shifted};
    XChangeKeyboardMapping(display, keycode, 2, keysyms, 1);
}

} // namespace

void SpareKeys::takeStock(const KeyboardMap& map) {
    std::erase_if(slots_, [&](const Slot& slot) {
        if (slot.keycode < map.minKeycode() || slot.keycode > map.maxKeycode())
            return true;
        if (slot.pair == KeysymPair{})
            return !map.isEmpty(slot.keycode);
        return normalized(map.firstGroup(slot.keycode)) != normalized(slot.pair);
    });
    for (int keycode = map.maxKeycode(); keycode >= map.minKeycode() && slots_.size() < kCount;
         --keycode) {
        const auto code = KeyCode(keycode);
        const bool taken = std::any_of(slots_.begin(), slots_.end(),
                                       [&](const Slot& slot) { return slot.keycode == code; });
        if (!taken && map.isEmpty(code))
            slots_.push_back({code, {}, {}});
    }
}

std::set<KeyCode> SpareKeys::keycodes() const {
    std::set<KeyCode> codes;
    for (const Slot& slot : slots_)
        codes.insert(slot.keycode);
    return codes;
}

std::variant<KeyStroke, SpareKeys::Clock::time_point>
SpareKeys::lend(Display* display, KeysymPair pair, KeySym wanted) {
    const bool shift = wanted == pair.shifted && pair.shifted != pair.plain;
    for (const Slot& slot : slots_)
        if (slot.pair == pair)
            return KeyStroke{slot.keycode, shift};
    if (slots_.empty())
        throw AppError(70, QStringLiteral("Permission denied: the keyboard map has no free key "
                                          "to type keysym 0x%1 with")
                               .arg(wanted, 0, 16));
    auto oldest = std::min_element(slots_.begin(), slots_.end(), [](const Slot& a, const Slot& b) {
        return a.freeAt < b.freeAt;
    });
    if (oldest->freeAt > Clock::now())
        return oldest->freeAt;
    setKeysyms(display, oldest->keycode, pair);
    oldest->pair = pair;
    // Not to be taken again before its event went out and settled; used() sets the real time.
    oldest->freeAt = Clock::time_point::max();
    return KeyStroke{oldest->keycode, shift};
}

void SpareKeys::used(KeyCode keycode) {
    for (Slot& slot : slots_)
        if (slot.keycode == keycode)
            slot.freeAt = Clock::now() + kSettle;
}

void SpareKeys::restore(Display* display, bool waitForSettle) {
    for (Slot& slot : slots_) {
        if (slot.pair == KeysymPair{})
            continue;
        if (waitForSettle && slot.freeAt != Clock::time_point::max())
            std::this_thread::sleep_until(slot.freeAt);
        KeySym none = NoSymbol;
        XChangeKeyboardMapping(display, slot.keycode, 1, &none, 1);
        slot.pair = {};
        slot.freeAt = {};
    }
}

} // namespace platform::x11
