// The Windows typer: SendInput. A character with no modifiers is sent as itself
// (KEYEVENTF_UNICODE), so it comes out exactly as given whatever the keyboard layout. A
// character with modifiers is sent as the layout's key for it (VkKeyScanW), because Ctrl+C and
// Alt+F reach applications only as keys; named keys and modifiers are virtual keys with their
// scan codes, flagged extended where the key is one of the extended set.
#include "platform/app_error.h"
#include "platform/queued_typer.h"

#include <QString>

#include <array>
#include <utility>
#include <vector>
#include <windows.h>

namespace platform {

namespace {

using Inputs = std::vector<INPUT>;

WORD virtualKeyFor(NamedKey key) {
    static constexpr std::array<std::pair<NamedKey, WORD>, 24> kVirtualKeys{{
        {NamedKey::Backspace, VK_BACK},    {NamedKey::Break, VK_CANCEL},
        {NamedKey::CapsLock, VK_CAPITAL},  {NamedKey::Delete, VK_DELETE},
        {NamedKey::Down, VK_DOWN},         {NamedKey::End, VK_END},
        {NamedKey::Enter, VK_RETURN},      {NamedKey::Escape, VK_ESCAPE},
        {NamedKey::Help, VK_HELP},         {NamedKey::Home, VK_HOME},
        {NamedKey::Insert, VK_INSERT},     {NamedKey::Left, VK_LEFT},
        {NamedKey::NumLock, VK_NUMLOCK},   {NamedKey::PageDown, VK_NEXT},
        {NamedKey::PageUp, VK_PRIOR},      {NamedKey::PrintScreen, VK_SNAPSHOT},
        {NamedKey::Right, VK_RIGHT},       {NamedKey::ScrollLock, VK_SCROLL},
        {NamedKey::Tab, VK_TAB},           {NamedKey::Up, VK_UP},
        {NamedKey::Add, VK_ADD},           {NamedKey::Subtract, VK_SUBTRACT},
        {NamedKey::Multiply, VK_MULTIPLY}, {NamedKey::Divide, VK_DIVIDE},
    }};
    if (key >= NamedKey::F1 && key <= NamedKey::F16)
        return WORD(VK_F1 + (int(key) - int(NamedKey::F1)));
    for (const auto& [named, virtualKey] : kVirtualKeys)
        if (named == key)
            return virtualKey;
    return 0;
}

// Keys whose scan codes carry the E0 prefix: without the flag, Insert would be keypad 0 and
// the arrows keypad digits.
bool isExtendedKey(WORD virtualKey) {
    switch (virtualKey) {
    case VK_INSERT:
    case VK_DELETE:
    case VK_HOME:
    case VK_END:
    case VK_PRIOR:
    case VK_NEXT:
    case VK_LEFT:
    case VK_RIGHT:
    case VK_UP:
    case VK_DOWN:
    case VK_DIVIDE:
    case VK_NUMLOCK:
    case VK_SNAPSHOT:
    case VK_CANCEL:
    case VK_RCONTROL:
    case VK_RMENU:
        return true;
    default:
        return false;
    }
}

INPUT virtualKeyInput(WORD virtualKey, bool up) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = virtualKey;
    input.ki.wScan = WORD(MapVirtualKeyW(virtualKey, MAPVK_VK_TO_VSC));
    input.ki.dwFlags =
        (up ? KEYEVENTF_KEYUP : 0) | (isExtendedKey(virtualKey) ? KEYEVENTF_EXTENDEDKEY : 0);
    return input;
}

INPUT unicodeInput(wchar_t unit, bool up) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wScan = WORD(unit);
    input.ki.dwFlags = KEYEVENTF_UNICODE | (up ? KEYEVENTF_KEYUP : 0);
    return input;
}

// The modifiers of an action as virtual keys, Ctrl, Alt, Shift in this order.
std::vector<WORD> modifierKeys(unsigned modifiers) {
    std::vector<WORD> keys;
    if (modifiers & ControlModifier)
        keys.push_back(VK_CONTROL);
    if (modifiers & AltModifier)
        keys.push_back(VK_MENU);
    if (modifiers & ShiftModifier)
        keys.push_back(VK_SHIFT);
    return keys;
}

// A key pressed with its modifiers held, everything let go again at the end.
void appendKeyWithModifiers(Inputs& inputs, WORD virtualKey, unsigned modifiers) {
    const std::vector<WORD> held = modifierKeys(modifiers);
    for (const WORD key : held)
        inputs.push_back(virtualKeyInput(key, false));
    inputs.push_back(virtualKeyInput(virtualKey, false));
    inputs.push_back(virtualKeyInput(virtualKey, true));
    for (auto key = held.rbegin(); key != held.rend(); ++key)
        inputs.push_back(virtualKeyInput(*key, true));
}

// Each UTF-16 unit down and up, a surrogate pair as two such packets, as the system's own
// on-screen keyboard sends them.
void appendUnicode(Inputs& inputs, char32_t character) {
    wchar_t units[2];
    int count = 1;
    if (QChar::requiresSurrogates(character)) {
        units[0] = wchar_t(QChar::highSurrogate(character));
        units[1] = wchar_t(QChar::lowSurrogate(character));
        count = 2;
    } else {
        units[0] = wchar_t(character);
    }
    for (int i = 0; i < count; ++i) {
        inputs.push_back(unicodeInput(units[i], false));
        inputs.push_back(unicodeInput(units[i], true));
    }
}

// VkKeyScanW's shift state (1 Shift, 2 Ctrl, 4 Alt) as modifiers.
unsigned modifiersOfShiftState(BYTE shiftState) {
    unsigned modifiers = NoModifier;
    if (shiftState & 1)
        modifiers |= ShiftModifier;
    if (shiftState & 2)
        modifiers |= ControlModifier;
    if (shiftState & 4)
        modifiers |= AltModifier;
    return modifiers;
}

Inputs inputsFor(const KeyAction& action) {
    Inputs inputs;
    if (action.named) {
        appendKeyWithModifiers(inputs, virtualKeyFor(action.key), action.modifiers);
        return inputs;
    }
    if (action.modifiers != NoModifier && !QChar::requiresSurrogates(action.character)) {
        const SHORT scan = VkKeyScanW(wchar_t(action.character));
        if (scan != -1) {
            const unsigned needed = modifiersOfShiftState(HIBYTE(scan));
            appendKeyWithModifiers(inputs, LOBYTE(scan), action.modifiers | needed);
            return inputs;
        }
    }
    // Not on the layout, or no modifiers: the character itself, modifiers held around it.
    const std::vector<WORD> held = modifierKeys(action.modifiers);
    for (const WORD key : held)
        inputs.push_back(virtualKeyInput(key, false));
    appendUnicode(inputs, action.character);
    for (auto key = held.rbegin(); key != held.rend(); ++key)
        inputs.push_back(virtualKeyInput(*key, true));
    return inputs;
}

class WindowsTyper final : public QueuedTyper {
public:
    ~WindowsTyper() override { shutDown(); }

protected:
    std::optional<Clock::time_point> sendKey(const KeyAction& action) override {
        Inputs inputs = inputsFor(action);
        // One call per key: the system does not mix the user's own keys into it.
        const UINT sent = SendInput(UINT(inputs.size()), inputs.data(), int(sizeof(INPUT)));
        if (sent != inputs.size())
            throw AppError(70, QStringLiteral("Permission denied: the system refused the keys "
                                              "(error %1); the focused window may belong to a "
                                              "program running with higher rights")
                                   .arg(GetLastError()));
        return std::nullopt;
    }
};

} // namespace

std::unique_ptr<KeyTyper> createSystemTyper() {
    return std::make_unique<WindowsTyper>();
}

} // namespace platform
