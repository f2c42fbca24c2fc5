#pragma once

#include "platform/x11/x11_keyboard.h"

#include <X11/Xlib.h>
#include <chrono>
#include <set>
#include <variant>
#include <vector>

namespace platform::x11 {

// Keys with no keysym, lent to characters and keys the layout does not have: such a key is
// given the wanted keysym, pressed, and given back later.
//
// Receiving applications look a key event up in the keyboard map they fetched when they last
// heard of a change. If a key is remapped again before the application has handled the event
// for its previous keysym, the application reads that event with the new map and types the
// wrong character (or the wrong case). So a lent key keeps its keysym for a settle time after
// its event reached the server, keys are reused least recently used first, a key that already
// holds the wanted keysym is simply pressed again, and the keys are emptied only after the
// typer has been quiet for a while.
//
// The settle time is generous: an application on a loaded machine was seen to handle events
// more than 100 ms late. It costs only text with more distinct missing characters than there
// are spare keys, which then goes at about kCount characters per settle time.
class SpareKeys {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kCount = 64;
    static constexpr std::chrono::milliseconds kSettle{500};

    // After the keyboard map was read afresh: keeps the keys that are still as this pool left
    // them, forgets those someone else changed (a layout switch empties or refills them), and
    // takes more empty keys, highest first, up to kCount.
    void takeStock(const KeyboardMap& map);
    std::set<KeyCode> keycodes() const;

    // The stroke that types `wanted` (one of the pair) on a spare key, remapping one if no key
    // holds the pair yet. When every key is still settling: the time the first is free.
    std::variant<KeyStroke, Clock::time_point> lend(Display* display, KeysymPair pair,
                                                    KeySym wanted);

    // A lent key's events have reached the server; its settle time starts now.
    void used(KeyCode keycode);

    // Empties every remapped key, after the settle time of the last one used when told to wait.
    void restore(Display* display, bool waitForSettle);

private:
    struct Slot {
        KeyCode keycode = 0;
        KeysymPair pair;            // NoSymbol twice while empty
        Clock::time_point freeAt{}; // may be remapped from then on
    };

    std::vector<Slot> slots_;
};

} // namespace platform::x11
