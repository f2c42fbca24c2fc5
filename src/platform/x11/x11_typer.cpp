// The X11 typer: XTest key events on the display of $DISPLAY. A character is typed with the
// key and Shift level the layout gives it, in the active group or, where the layout has several
// groups, in another one made active for the moment. One the layout lacks altogether (or has
// only on a level Shift cannot reach, such as AltGr) is typed on a spare key lent to it, so
// that every character comes out as given whatever the layout.
//
// Caps Lock changes no character: a user who left it on still gets the scan as stored (as on
// Windows, where characters are sent as such). The lock is let go for each key and put back
// after it, as the group is for a key of another layout.
#include "platform/app_error.h"
#include "platform/queued_typer.h"
#include "platform/x11/x11_display.h"
#include "platform/x11/x11_keyboard.h"
#include "platform/x11/x11_spare_keys.h"

#include <QString>

#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <array>
#include <memory>
#include <thread>

namespace platform {

namespace {

using namespace std::chrono_literals;
using x11::KeyStroke;

// A modifier the user holds down would change what the typed keys mean (Shift turns "a" into
// "A", Ctrl turns letters into commands): typing waits for its release, up to this long, and
// looks again every few milliseconds while keys go out.
constexpr auto kModifierWaitLimit = 2s;
constexpr auto kModifierPoll = 10ms;

// Qt 6.4 was seen to stop taking keys after a burst on lent keys with no gap between them.
constexpr auto kLentKeyGap = 500us;

class X11Typer final : public QueuedTyper {
public:
    ~X11Typer() override {
        shutDown();
        giveBackLentKeys();
    }

    void setRemapSettle(std::chrono::milliseconds settle) override {
        settle_ = std::max(settle, 0ms);
    }

protected:
    void beginBurst() override {
        if (!display_)
            display_ = std::make_unique<x11::DisplayConnection>();
        // Mapping events piled up since the last burst say nothing the fresh map does not.
        XSync(*display_, True);
        readKeyboard();
        // A hold the last burst gave up waiting for may have ended unseen since: a modifier
        // down now is waited for afresh.
        modifiersCheckedAt_ = {};
        modifiersHeldSince_.reset();
    }

    std::optional<Clock::time_point> sendKey(const KeyAction& action) override {
        if (const auto wait = waitForReleasedModifiers())
            return wait;
        if (const auto stroke = layoutStroke(action)) {
            // Caps Lock typed on purpose toggles the lock, and the keys after it know.
            const bool capsLockKey = action.named && action.key == NamedKey::CapsLock;
            press(*stroke, action.modifiers, !capsLockKey);
            capsLocked_ = capsLocked_ != capsLockKey;
            return std::nullopt;
        }
        auto stroke = spareStroke(action);
        if (!stroke) {
            if (const auto wait = lendBatch())
                return wait;
            stroke = spareStroke(action);
        }
        if (Clock::now() < lastKeyAt_ + kLentKeyGap)
            return lastKeyAt_ + kLentKeyGap;
        press(*stroke, action.modifiers);
        spareKeys_.used(stroke->keycode);
        return std::nullopt;
    }

    void flush() override {
        if (!display_)
            return;
        XFlush(*display_);
        // Near enough to when the server has the events; the settle time has room for it.
        spareKeys_.sent();
    }

private:
    void readKeyboard() {
        map_ = x11::KeyboardMap::read(*display_);
        spareKeys_.takeStock(map_);
        map_.index(spareKeys_.keycodes());
    }

    std::optional<KeyStroke> layoutStroke(const KeyAction& action) const {
        if (action.named)
            return map_.find(x11::keysymForNamedKey(action.key));
        return map_.findCharacter(action.character);
    }

    std::optional<KeyStroke> spareStroke(const KeyAction& action) const {
        auto stroke = spareKeys_.find(want(action));
        if (stroke) // a lent key has one group, which every active group reaches
            stroke->group = map_.activeGroup();
        return stroke;
    }

    static x11::SpareKeys::Want want(const KeyAction& action) {
        if (action.named) {
            const KeySym keysym = x11::keysymForNamedKey(action.key);
            return {keysym, {keysym, keysym}, true};
        }
        return {x11::keysymForCharacter(action.character),
                x11::keysymPairForCharacter(action.character), action.modifiers != NoModifier};
    }

    // Lends spare keys to the characters of the coming text that no key holds yet, as many as
    // there are keys, in one request. Nothing when that is done; else when to try again.
    std::optional<Clock::time_point> lendBatch() {
        if (spareKeys_.empty())
            throw AppError(70, QStringLiteral("Permission denied: the keyboard map has no free "
                                              "key to type keysym 0x%1 with")
                                   .arg(want(queued().front()).keysym, 0, 16));
        // The settle time of the keys typed so far starts once the server has their events.
        XSync(*display_, False);
        spareKeys_.sent();
        auto batch = spareKeys_.startBatch();
        for (const KeyAction& action : queued())
            if (!layoutStroke(action) && !batch.add(want(action)))
                break;
        if (const auto ready = spareKeys_.readyAt(batch, settle_); ready > Clock::now())
            return ready;
        if (!spareKeys_.lend(*display_, batch)) {
            // The layout changed under the typer: plan again on the new one.
            readKeyboard();
            return Clock::now();
        }
        return std::nullopt;
    }

    // When a modifier is held: the time to look again, until the limit is reached. The same
    // look at the keyboard notices a layout the user switched to while keys went out: the rest
    // is planned on it, so that it neither types that layout's characters nor is undone.
    std::optional<Clock::time_point> waitForReleasedModifiers() {
        const auto now = Clock::now();
        if (now - modifiersCheckedAt_ < kModifierPoll)
            return std::nullopt;
        modifiersCheckedAt_ = now;
        XkbStateRec state{};
        if (XkbGetState(*display_, XkbUseCoreKbd, &state) != Success)
            return std::nullopt;
        capsLocked_ = (state.locked_mods & LockMask) != 0;
        if (!userHoldsModifier(state)) {
            modifiersHeldSince_.reset();
            if (state.group != map_.activeGroup())
                readKeyboard();
            return std::nullopt;
        }
        if (!modifiersHeldSince_)
            modifiersHeldSince_ = now;
        if (now - *modifiersHeldSince_ >= kModifierWaitLimit)
            return std::nullopt;
        return now + kModifierPoll;
    }

    // The typer's own modifiers are always released again by the time this asks the server.
    // Caps Lock and Num Lock are locks, not held keys; a held group switch counts.
    static bool userHoldsModifier(const XkbStateRec& state) {
        return (state.base_mods & ~LockMask) != 0 || state.base_group != 0;
    }

    // Presses the key with its modifiers held and lets everything go again, so that no
    // modifier (nor the group of another layout, nor Caps Lock let go of) outlives its key.
    void press(KeyStroke stroke, unsigned modifiers, bool letGoOfCapsLock = true) {
        if (stroke.shift)
            modifiers |= ShiftModifier;
        std::array<KeyCode, 3> held{};
        std::size_t count = 0;
        for (const Modifier modifier : {ControlModifier, AltModifier, ShiftModifier})
            if (modifiers & modifier)
                held[count++] = modifierKey(modifier);
        const bool otherGroup = stroke.group != map_.activeGroup();
        if (otherGroup)
            XkbLockGroup(*display_, XkbUseCoreKbd, unsigned(stroke.group));
        const bool unlock = letGoOfCapsLock && capsLocked_;
        if (unlock)
            XkbLockModifiers(*display_, XkbUseCoreKbd, LockMask, 0);
        for (std::size_t i = 0; i < count; ++i)
            XTestFakeKeyEvent(*display_, held[i], True, CurrentTime);
        XTestFakeKeyEvent(*display_, stroke.keycode, True, CurrentTime);
        XTestFakeKeyEvent(*display_, stroke.keycode, False, CurrentTime);
        for (std::size_t i = count; i-- > 0;)
            XTestFakeKeyEvent(*display_, held[i], False, CurrentTime);
        if (otherGroup)
            XkbLockGroup(*display_, XkbUseCoreKbd, unsigned(map_.activeGroup()));
        if (unlock)
            XkbLockModifiers(*display_, XkbUseCoreKbd, LockMask, LockMask);
        lastKeyAt_ = Clock::now();
    }

    KeyCode modifierKey(Modifier modifier) const {
        struct Candidates {
            Modifier modifier;
            std::array<KeySym, 3> keysyms;
            const char* name;
        };
        static constexpr std::array<Candidates, 3> kModifierKeys{{
            {ShiftModifier, {XK_Shift_L, XK_Shift_R, XK_Shift_L}, "Shift"},
            {ControlModifier, {XK_Control_L, XK_Control_R, XK_Control_L}, "Ctrl"},
            {AltModifier, {XK_Alt_L, XK_Alt_R, XK_Meta_L}, "Alt"},
        }};
        for (const auto& candidates : kModifierKeys) {
            if (candidates.modifier != modifier)
                continue;
            for (const KeySym keysym : candidates.keysyms)
                if (const auto stroke = map_.find(keysym);
                    stroke && !stroke->shift && stroke->group == map_.activeGroup())
                    return stroke->keycode;
            throw AppError(70, QStringLiteral("Permission denied: the keyboard map has no %1 key")
                                   .arg(QLatin1String(candidates.name)));
        }
        return 0;
    }

    // At the end the keymap is left as it was found: the lent keys are emptied once the last
    // keys typed on them have settled. A destructor must not throw.
    void giveBackLentKeys() noexcept {
        if (!display_)
            return;
        try {
            XSync(*display_, False);
            spareKeys_.sent();
            std::this_thread::sleep_until(spareKeys_.lastUse() + settle_);
            spareKeys_.giveBack(*display_);
            XSync(*display_, False);
        } catch (...) {
        }
    }

    std::unique_ptr<x11::DisplayConnection> display_;
    x11::KeyboardMap map_;
    x11::SpareKeys spareKeys_;
    std::chrono::milliseconds settle_ = kDefaultRemapSettle;
    Clock::time_point lastKeyAt_{};
    Clock::time_point modifiersCheckedAt_{};
    std::optional<Clock::time_point> modifiersHeldSince_;
    bool capsLocked_ = false; // as last seen on the server, or as the typed Caps Lock key left it
};

} // namespace

std::unique_ptr<KeyTyper> createSystemTyper() {
    return std::make_unique<X11Typer>();
}

} // namespace platform
