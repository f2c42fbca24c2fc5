#pragma once

#include "platform/x11/x11_keysyms.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

namespace platform::x11 {

// How to type a keysym: its key, whether Shift must be held for it, and the group (layout) that
// must be active.
struct KeyStroke {
    KeyCode keycode = 0;
    bool shift = false;
    int group = 0;
};

struct KeyboardDescFree {
    void operator()(XkbDescPtr desc) const { XkbFreeKeyboard(desc, XkbAllComponentsMask, True); }
};
using KeyboardDesc = std::unique_ptr<XkbDescRec, KeyboardDescFree>;

// The server's key types and keysyms; throws AppError when they cannot be read.
KeyboardDesc readKeyboardDesc(Display* display);

// The display's keyboard map as typing needs it: for every key, what it types plainly and with
// Shift in each group. Read afresh for every burst of keys, because the user may switch layouts
// at any time.
class KeyboardMap {
public:
    // With the group that is active now.
    static KeyboardMap read(Display* display);
    static KeyboardMap fromDesc(XkbDescPtr desc, int activeGroup);

    KeyCode minKeycode() const { return min_; }
    KeyCode maxKeycode() const { return KeyCode(min_ + keys_.size() - 1); }
    int activeGroup() const { return activeGroup_; }

    // The keysyms of a key's first group, plain and shifted: what a lent key is given.
    KeysymPair firstGroup(KeyCode keycode) const;
    bool isEmpty(KeyCode keycode) const;

    // Builds the keysym index from every key but those left out (the typer's spare keys).
    void index(const std::set<KeyCode>& leaveOut);

    // The stroke for a keysym, in the active group where it is there, else in another group.
    std::optional<KeyStroke> find(KeySym keysym) const;
    std::optional<KeyStroke> findCharacter(char32_t character) const;

private:
    struct Key {
        std::vector<KeysymPair> groups; // shifted is NoSymbol when Shift adds nothing
        KeysymPair first;               // group 1, level 1 and 2: what a remapping sets
        bool empty = true;              // no keysym on any group or level
    };

    // The group the server uses for a key when `group` is active: a key with fewer groups
    // wraps around.
    static int effectiveGroup(const Key& key, int group);

    KeyCode min_ = 8;
    int activeGroup_ = 0;
    std::vector<Key> keys_;
    std::unordered_map<KeySym, KeyStroke> strokes_;
};

} // namespace platform::x11
