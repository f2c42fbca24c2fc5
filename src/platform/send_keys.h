#pragma once

#include <QString>

#include <chrono>
#include <memory>
#include <vector>

// The send-key facility: text in send-key syntax ("{RetVal}{TAB}~", "+(ab)", "{F2 3}") is parsed
// into a list of key actions, and a typer delivers them to the window that has the keyboard
// focus. The parser is shared by every system; the typers are per system (X11, Windows) plus a
// recorder for tests.
namespace platform {

enum class NamedKey {
    Backspace,
    Break,
    CapsLock,
    Delete,
    Down,
    End,
    Enter,
    Escape,
    Help,
    Home,
    Insert,
    Left,
    NumLock,
    PageDown,
    PageUp,
    PrintScreen,
    Right,
    ScrollLock,
    Tab,
    Up,
    F1,
    F2,
    F3,
    F4,
    F5,
    F6,
    F7,
    F8,
    F9,
    F10,
    F11,
    F12,
    F13,
    F14,
    F15,
    F16,
    Add,
    Subtract,
    Multiply,
    Divide,
};

enum Modifier : unsigned {
    NoModifier = 0,
    ShiftModifier = 1,
    ControlModifier = 2,
    AltModifier = 4
};

// One key to type: a named key or a character, with the modifiers held down while it is typed.
struct KeyAction {
    unsigned modifiers = NoModifier;
    bool named = false;
    NamedKey key = NamedKey::Enter; // when named
    char32_t character = 0;         // when not named
    bool operator==(const KeyAction&) const = default;

    static KeyAction Named(NamedKey named, unsigned held = NoModifier) {
        return KeyAction{held, true, named, 0};
    }
    static KeyAction Character(char32_t c, unsigned held = NoModifier) {
        return KeyAction{held, false, NamedKey::Enter, c};
    }
};

using KeyActions = std::vector<KeyAction>;

// Parses send-key text. Malformed text (an unbalanced brace or parenthesis, an unknown key name,
// a bad repeat count, a modifier with nothing to modify) is refused with an AppError before
// anything is typed: number 5, "Invalid procedure call or argument: " with what is wrong and
// its position (1-based).
//
// Key names are case-insensitive; "{x n}" repeats a character, "{NAME n}" a key (n up to 9999).
// Characters of the text with no key of their own: CR LF, a lone CR and a lone LF are one
// Enter, TAB is Tab, BS/ESC/DEL are Backspace/Escape/Delete, and other control characters are
// Ctrl with their letter or sign (0x01 is "^a", the GS1 separator 0x1D is "^]").
KeyActions ParseSendKeys(const QString& keys);

// The canonical send-key text of a list of actions: named keys in braces ("{ENTER}"), modifiers
// as "+", "^", "%" (in this order) before their key, the characters + ^ % ~ ( ) { } [ ] braced
// ("{+}"). Parsing it gives the same actions back. Used in tests and logs.
QString DescribeKeys(const KeyActions& actions);

// Delivers key actions to the focused window. type() hands the keys over and returns; it does
// not wait for the receiving application to process them.
class KeyTyper {
public:
    virtual ~KeyTyper() = default;
    virtual void type(const KeyActions& actions) = 0;
    // Milliseconds between two keys, for receiving applications that lose fast input.
    virtual void setKeyDelay(int milliseconds) { (void)milliseconds; }
    // For typers that give keys new characters when the layout lacks them: how long the
    // receiving applications get to take a changed keyboard mapping.
    virtual void setRemapSettle(std::chrono::milliseconds settle) { (void)settle; }
    static constexpr std::chrono::milliseconds kDefaultRemapSettle{30};
};

// Keeps what it was asked to type, for tests.
class RecordingTyper : public KeyTyper {
public:
    void type(const KeyActions& actions) override { calls_.push_back(actions); }
    const std::vector<KeyActions>& calls() const { return calls_; }
    // Every call's keys in canonical send-key text, one entry per call.
    std::vector<QString> described() const;
    void clear() { calls_.clear(); }

private:
    std::vector<KeyActions> calls_;
};

// The system's typer (X11 through XTest, or Windows SendInput).
std::unique_ptr<KeyTyper> createSystemTyper();

// The typer in use: the system's unless one was installed (not owned; nullptr goes back).
KeyTyper& keyTyper();
void setKeyTyper(KeyTyper* typer);

// Parses keys and types them with the typer in use.
void SendKeys(const QString& keys);

} // namespace platform
