// The X11 typer: XTest key events on the display of $DISPLAY. A character is typed with the
// key and Shift level the active layout gives it; one the layout lacks (or has only on a level
// Shift cannot reach, such as AltGr) is typed on a spare key lent to it for the moment, so that
// every character comes out as given whatever the layout.
//
// Lock state is left alone: with Caps Lock on, the receiving application turns letters to
// capitals as it would for the user's own keys.
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

namespace platform {

namespace {

using x11::KeyStroke;

class X11Typer final : public QueuedTyper {
public:
    ~X11Typer() override { shutDown(); }

protected:
    void beginBurst() override {
        if (!display_)
            display_ = std::make_unique<x11::DisplayConnection>();
        // Mapping events piled up since the last burst say nothing the fresh map does not.
        XSync(*display_, True);
        map_ = x11::KeyboardMap::read(*display_);
        spareKeys_.takeStock(map_);
        map_.index(spareKeys_.keycodes());
    }

    std::optional<Clock::time_point> sendKey(const KeyAction& action) override {
        if (const auto stroke = layoutStroke(action)) {
            press(*stroke, action.modifiers);
            return std::nullopt;
        }
        const auto lent = spareKeys_.lend(*display_, sparePair(action), wantedKeysym(action));
        if (const auto* freeAt = std::get_if<Clock::time_point>(&lent))
            return *freeAt;
        const KeyStroke stroke = std::get<KeyStroke>(lent);
        press(stroke, action.modifiers);
        // The settle time counts from when the server has the events, not from when they were
        // queued here.
        XSync(*display_, True);
        spareKeys_.used(stroke.keycode);
        return std::nullopt;
    }

    void flush() override {
        if (display_)
            XFlush(*display_);
    }

    // Lent keys are emptied only after this long without typing: long after any receiver has
    // handled their events, and the next scans of the same foreign characters need no
    // remapping at all.
    std::chrono::milliseconds quietPeriod() const override { return std::chrono::seconds(5); }

    void quiet() override {
        if (!display_)
            return;
        spareKeys_.restore(*display_, true);
        XSync(*display_, True);
    }

private:
    std::optional<KeyStroke> layoutStroke(const KeyAction& action) const {
        if (action.named)
            return map_.find(x11::keysymForNamedKey(action.key));
        return map_.findCharacter(action.character);
    }

    static x11::KeysymPair sparePair(const KeyAction& action) {
        if (!action.named)
            return x11::keysymPairForCharacter(action.character);
        const KeySym keysym = x11::keysymForNamedKey(action.key);
        return {keysym, keysym};
    }

    static KeySym wantedKeysym(const KeyAction& action) {
        return action.named ? x11::keysymForNamedKey(action.key)
                            : x11::keysymForCharacter(action.character);
    }

    // Presses the key with its modifiers held and lets everything go again, so that no
    // modifier outlives its key.
    void press(KeyStroke stroke, unsigned modifiers) {
        if (stroke.shift)
            modifiers |= ShiftModifier;
        std::array<KeyCode, 3> held{};
        std::size_t count = 0;
        for (const Modifier modifier : {ControlModifier, AltModifier, ShiftModifier})
            if (modifiers & modifier)
                held[count++] = modifierKey(modifier);
        for (std::size_t i = 0; i < count; ++i)
            XTestFakeKeyEvent(*display_, held[i], True, CurrentTime);
        XTestFakeKeyEvent(*display_, stroke.keycode, True, CurrentTime);
        XTestFakeKeyEvent(*display_, stroke.keycode, False, CurrentTime);
        for (std::size_t i = count; i-- > 0;)
            XTestFakeKeyEvent(*display_, held[i], False, CurrentTime);
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
                if (const auto stroke = map_.find(keysym); stroke && !stroke->shift)
                    return stroke->keycode;
            throw AppError(70, QStringLiteral("Permission denied: the keyboard map has no %1 key")
                                   .arg(QLatin1String(candidates.name)));
        }
        return 0;
    }

    std::unique_ptr<x11::DisplayConnection> display_;
    x11::KeyboardMap map_;
    x11::SpareKeys spareKeys_;
};

} // namespace

std::unique_ptr<KeyTyper> createSystemTyper() {
    return std::make_unique<X11Typer>();
}

} // namespace platform
