#pragma once

#include "platform/x11/x11_keysyms.h"

#include <X11/Xlib.h>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

namespace platform::x11 {

// How to type a keysym: its key, and whether Shift must be held for it.
struct KeyStroke {
    KeyCode keycode = 0;
    bool shift = false;
};

// The display's keyboard map as typing needs it: for every key, what it types plainly and with
// Shift in the active group. Read afresh for every burst of keys, because the user may switch
// layouts at any time.
class KeyboardMap {
public:
    static KeyboardMap read(Display* display);

    KeyCode minKeycode() const { return min_; }
    KeyCode maxKeycode() const { return KeyCode(min_ + keys_.size() - 1); }

    // The keysyms of a key's first group, plain and shifted: what a remapping sets.
    KeysymPair firstGroup(KeyCode keycode) const;
    bool isEmpty(KeyCode keycode) const;

    // Builds the keysym index from every key but those left out (the typer's spare keys).
    void index(const std::set<KeyCode>& leaveOut);

    std::optional<KeyStroke> find(KeySym keysym) const;
    std::optional<KeyStroke> findCharacter(char32_t character) const;

private:
    struct Key {
        KeysymPair active; // in the active group; shifted is NoSymbol when Shift adds nothing
        KeysymPair first;  // in group 1
        bool empty = true;
    };

    KeyCode min_ = 8;
    std::vector<Key> keys_;
    std::unordered_map<KeySym, KeyStroke> strokes_;
};

} // namespace platform::x11
