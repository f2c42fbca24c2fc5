#include "platform/x11/x11_spare_keys.h"

#include <X11/Xutil.h>
#include <algorithm>

namespace platform::x11 {

namespace {

// The server may store a pair of equal keysyms as a one-level key: compare them the same way.
KeysymPair normalized(KeysymPair pair) {
    if (pair.shifted == NoSymbol)
        pair.shifted = pair.plain;
    return pair;
}

// Other clients wait while the keyboard map is read and written back, so that no change of
// theirs falls in between and is overwritten.
class ServerGrab {
public:
    explicit ServerGrab(Display* display)
        : display_(display) {
        XGrabServer(display_);
    }
    ~ServerGrab() {
        XUngrabServer(display_);
        XFlush(display_);
    }
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;

private:
    Display* display_;
};

// Whether the character has a small and a capital form.
bool isLetter(const SpareKeys::Want& want) {
    return want.casePair.plain != want.casePair.shifted;
}

// Whether X takes the pair for the lower and upper case of one letter.
bool isCasePair(KeysymPair pair) {
    KeySym lower = NoSymbol;
    KeySym upper = NoSymbol;
    XConvertCase(pair.plain, &lower, &upper);
    return lower == pair.plain && upper == pair.shifted && lower != upper;
}

// A key's contents as the pool sets them: nothing at all, or the pair in the first group. A
// case pair is a letter key, whose level Caps Lock selects as for the layout's own letters; two
// other keysyms are two plain levels; a keysym alone has one level.
void setKeysyms(XkbDescPtr desc, KeyCode keycode, KeysymPair pair) {
    const bool empty = pair == KeysymPair{};
    const bool twoLevels = !empty && normalized(pair).shifted != pair.plain;
    const int width = empty ? 0 : twoLevels ? 2 : 1;
    KeySym* syms = XkbResizeKeySyms(desc, keycode, width);
    XkbSymMapRec& map = desc->map->key_sym_map[keycode];
    map.kt_index[0] = !twoLevels         ? XkbOneLevelIndex
                      : isCasePair(pair) ? XkbAlphabeticIndex
                                         : XkbTwoLevelIndex;
    map.group_info = XkbSetNumGroups(0, empty ? 0 : 1);
    map.width = std::uint8_t(width);
    if (width > 0)
        syms[0] = pair.plain;
    if (width > 1)
        syms[1] = pair.shifted;
}

// Whether a key still holds what the pool left on it: nothing, or the pair.
bool holdsAsLeft(const KeyboardMap& map, KeyCode keycode, KeysymPair pair) {
    if (keycode < map.minKeycode() || keycode > map.maxKeycode())
        return false;
    if (pair == KeysymPair{})
        return map.isEmpty(keycode);
    return normalized(map.firstGroup(keycode)) == normalized(pair);
}

} // namespace

void SpareKeys::takeStock(const KeyboardMap& map) {
    std::erase_if(slots_,
                  [&](const Slot& slot) { return !holdsAsLeft(map, slot.keycode, slot.pair); });
    const std::set<KeyCode> known = keycodes();
    for (int keycode = map.minKeycode(); keycode <= map.maxKeycode(); ++keycode) {
        const auto code = KeyCode(keycode);
        if (!known.contains(code) && map.isEmpty(code))
            slots_.push_back({code, {}, {}, false});
    }
}

std::set<KeyCode> SpareKeys::keycodes() const {
    std::set<KeyCode> codes;
    for (const Slot& slot : slots_)
        codes.insert(slot.keycode);
    return codes;
}

std::optional<std::size_t> SpareKeys::holder(const Want& want) const {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        const KeysymPair& pair = slots_[i].pair;
        const bool fits = want.seen ? normalized(pair) == want.casePair
                                    : pair.plain == want.keysym || pair.shifted == want.keysym;
        if (fits)
            return i;
    }
    return std::nullopt;
}

std::optional<KeyStroke> SpareKeys::find(const Want& want) const {
    const auto slot = holder(want);
    if (!slot)
        return std::nullopt;
    const Slot& key = slots_[*slot];
    return KeyStroke{key.keycode, key.pair.plain != want.keysym, 0};
}

bool SpareKeys::Batch::add(const Want& want) {
    Batch trial = *this;
    if (const auto slot = pool_->holder(want)) {
        trial.kept_[*slot] = true;
    } else {
        const auto known = std::find_if(trial.homeless_.begin(), trial.homeless_.end(),
                                        [&](const Want& w) { return w.keysym == want.keysym; });
        if (known == trial.homeless_.end())
            trial.homeless_.push_back(want);
        else
            known->seen = known->seen || want.seen;
    }
    if (trial.keysNeeded() > pool_->slots_.size())
        return false;
    *this = std::move(trial);
    return true;
}

std::size_t SpareKeys::Batch::keysNeeded() const {
    return std::size_t(std::count(kept_.begin(), kept_.end(), true)) + newPairs().size();
}

std::vector<KeysymPair> SpareKeys::Batch::newPairs() const {
    const auto homeless = [&](KeySym keysym) {
        const auto found = std::find_if(homeless_.begin(), homeless_.end(),
                                        [&](const Want& w) { return w.keysym == keysym; });
        return found == homeless_.end() ? nullptr : &*found;
    };
    std::vector<KeysymPair> pairs;
    std::vector<KeySym> others;
    for (const Want& want : homeless_) {
        const KeysymPair& both = want.casePair;
        const Want* small = homeless(both.plain);
        const Want* capital = homeless(both.shifted);
        // Both cases wanted, or one typed with modifiers: the letter gets a key as on a
        // keyboard.
        if (isLetter(want) && (want.seen || (small && capital))) {
            if (std::find(pairs.begin(), pairs.end(), both) == pairs.end())
                pairs.push_back(both);
        } else if (want.seen) {
            // A key of its own, on which a Shift the receiver sees selects no other keysym.
            pairs.push_back({want.keysym, want.keysym});
        } else {
            others.push_back(want.keysym);
        }
    }
    // The rest two to a key, the second typed with Shift.
    for (std::size_t i = 0; i < others.size(); i += 2)
        pairs.push_back({others[i], others[std::min(i + 1, others.size() - 1)]});
    return pairs;
}

SpareKeys::Changes SpareKeys::assign(const Batch& batch) const {
    std::vector<std::size_t> free;
    for (std::size_t i = 0; i < slots_.size(); ++i)
        if (!batch.kept_[i])
            free.push_back(i);
    // A character typed recently is likely to be typed again with the next scan: its key is
    // kept longest.
    std::sort(free.begin(), free.end(), [&](std::size_t a, std::size_t b) {
        const bool aEmpty = slots_[a].pair == KeysymPair{};
        const bool bEmpty = slots_[b].pair == KeysymPair{};
        return aEmpty != bEmpty ? aEmpty : slots_[a].lastUsed < slots_[b].lastUsed;
    });
    const std::vector<KeysymPair> pairs = batch.newPairs();
    Changes changes;
    for (std::size_t i = 0; i < pairs.size(); ++i)
        changes.emplace_back(free[i], pairs[i]);
    return changes;
}

SpareKeys::Clock::time_point SpareKeys::readyAt(const Batch& batch,
                                                std::chrono::milliseconds settle) const {
    Clock::time_point ready{};
    for (const auto& [index, pair] : assign(batch)) {
        const Slot& slot = slots_[index];
        ready = std::max(ready, (slot.unsent ? Clock::now() : slot.lastUsed) + settle);
    }
    return ready;
}

bool SpareKeys::lend(Display* display, const Batch& batch) {
    const Changes changes = assign(batch);
    const std::vector<std::size_t> refused = rewrite(display, changes);
    for (const auto& [index, pair] : changes)
        if (std::find(refused.begin(), refused.end(), index) == refused.end())
            slots_[index].pair = pair;
    return refused.empty();
}

void SpareKeys::used(KeyCode keycode) {
    for (Slot& slot : slots_)
        if (slot.keycode == keycode)
            slot.unsent = true;
}

void SpareKeys::sent() {
    const auto now = Clock::now();
    for (Slot& slot : slots_) {
        if (slot.unsent)
            slot.lastUsed = now;
        slot.unsent = false;
    }
}

SpareKeys::Clock::time_point SpareKeys::lastUse() const {
    Clock::time_point last{};
    for (const Slot& slot : slots_)
        last = std::max(last, slot.lastUsed);
    return last;
}

void SpareKeys::giveBack(Display* display) {
    Changes changes;
    for (std::size_t i = 0; i < slots_.size(); ++i)
        if (slots_[i].pair != KeysymPair{})
            changes.emplace_back(i, KeysymPair{});
    rewrite(display, changes);
    // Given back or taken over by someone else: none is lent any more.
    slots_.clear();
}

std::vector<std::size_t> SpareKeys::rewrite(Display* display, const Changes& changes) {
    if (changes.empty())
        return {};
    const ServerGrab grab(display);
    const KeyboardDesc desc = readKeyboardDesc(display);
    const KeyboardMap map = KeyboardMap::fromDesc(desc.get(), 0);
    std::vector<std::size_t> refused;
    int first = map.maxKeycode();
    int last = map.minKeycode();
    for (const auto& [index, pair] : changes) {
        const Slot& slot = slots_[index];
        if (!holdsAsLeft(map, slot.keycode, slot.pair)) {
            refused.push_back(index);
            continue;
        }
        setKeysyms(desc.get(), slot.keycode, pair);
        first = std::min<int>(first, slot.keycode);
        last = std::max<int>(last, slot.keycode);
    }
    if (first <= last) {
        // One request for the whole span: the keys in between go back as they were read.
        XkbMapChangesRec span{};
        span.changed = XkbKeySymsMask;
        span.first_key_sym = KeyCode(first);
        span.num_key_syms = std::uint8_t(last - first + 1);
        XkbChangeMap(display, desc.get(), &span);
    }
    return refused;
}

} // namespace platform::x11
