#pragma once

#include "platform/x11/x11_keyboard.h"

#include <X11/Xlib.h>
#include <chrono>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace platform::x11 {

// Keys with no keysym, lent to characters and keys the layout does not have.
//
// Receiving applications look a key event up in the keyboard map they fetch when they handle
// the notice of a change, not in the map as it was when the key was pressed. So a key must not
// be given another keysym while events that used its present one may still be unread: a lent
// key is remapped only a settle time after its last event reached the server.
//
// Remapping is costly only through that wait, so keys are lent in batches: every key that the
// coming text does not need as it is takes a new character in one request, the text those keys
// cover is typed, and only then the next batch waits and remaps. Lent keys keep their keysyms
// after typing, so that the next scans of the same characters need no remapping at all; they
// are given back when the typer goes.
class SpareKeys {
public:
    using Clock = std::chrono::steady_clock;

    // After the keyboard map was read afresh: keeps the keys that are still as this pool left
    // them, forgets those someone else changed (a new layout empties or refills them), and
    // takes every other key that has no keysym at all.
    void takeStock(const KeyboardMap& map);
    std::set<KeyCode> keycodes() const;
    bool empty() const { return slots_.empty(); }

    // What a character or key needs of a lent key: its keysym, the case pair it belongs to
    // (the keysym twice when it has none), and whether the receiver sees the key itself rather
    // than only its character: a named key, or a character typed with modifiers. Such a key
    // must be where a keyboard has it: a letter on a key of its two cases, Shift giving the
    // capital, anything else on a key of its own, which Shift leaves as it is.
    struct Want {
        KeySym keysym = NoSymbol;
        KeysymPair casePair;
        bool seen = false;
    };

    // The stroke on the lent key that holds the keysym where it may be typed, if one does.
    std::optional<KeyStroke> find(const Want& want) const;

    // The characters one batch of lending covers, gathered through the coming text. A key has
    // two levels: a case pair shares one key, as on a keyboard, and other characters go two to
    // a key, the second typed with Shift (but for one the receiver sees, which has a key to
    // itself). A key that holds a character of the batch already is kept as it is.
    class Batch {
    public:
        // False when no key is left for it: the batch ends before it.
        bool add(const Want& want);

    private:
        friend class SpareKeys;
        explicit Batch(const SpareKeys& pool)
            : pool_(&pool)
            , kept_(pool.slots_.size(), false) {}
        std::size_t keysNeeded() const;
        // The pairs the keysyms no key holds yet are given: case pairs and keys of their own,
        // then the others two to a key.
        std::vector<KeysymPair> newPairs() const;

        const SpareKeys* pool_;
        std::vector<bool> kept_;     // per slot: holds a keysym of the batch
        std::vector<Want> homeless_; // keysyms no key holds yet
    };
    Batch startBatch() const { return Batch(*this); }

    // When every key the batch remaps has settled: `settle` after its last event reached the
    // server (see sent()).
    Clock::time_point readyAt(const Batch& batch, std::chrono::milliseconds settle) const;

    // Gives the batch's new pairs keys of their own, in one request. False when one of those
    // keys is no longer as this pool left it (the layout changed): take stock again.
    bool lend(Display* display, const Batch& batch);

    // An event on this key was queued; sent() tells that everything queued reached the server
    // (after XSync), which starts the settle time of those keys.
    void used(KeyCode keycode);
    void sent();

    // The last time a lent key's event reached the server.
    Clock::time_point lastUse() const;

    // Empties every lent key that still holds what it was given, in one request; keys that
    // someone else changed in the meantime are left as they are.
    void giveBack(Display* display);

private:
    using Changes = std::vector<std::pair<std::size_t, KeysymPair>>; // slot index, new pair

    struct Slot {
        KeyCode keycode = 0;
        KeysymPair pair; // NoSymbol twice while empty
        Clock::time_point lastUsed{};
        bool unsent = false; // used since the last sent()
    };

    // The slot that holds the keysym where the want may use it.
    std::optional<std::size_t> holder(const Want& want) const;

    // Which keys the batch's new pairs go to: empty keys first, then those used longest ago,
    // never one the batch keeps.
    Changes assign(const Batch& batch) const;

    // Rewrites the keys in one request, provided each is still as this pool left it; returns
    // the slots that were not.
    std::vector<std::size_t> rewrite(Display* display, const Changes& changes);

    std::vector<Slot> slots_;
};

} // namespace platform::x11
