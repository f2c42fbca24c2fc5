#include "keyreceiver/key_reconstruction.h"

#include <QKeyEvent>

#include <optional>

namespace keyreceiver {

namespace {

using platform::KeyAction;
using platform::NamedKey;

std::optional<NamedKey> keypadKey(int key) {
    switch (key) {
    case Qt::Key_Plus:
        return NamedKey::Add;
    case Qt::Key_Minus:
        return NamedKey::Subtract;
    case Qt::Key_Asterisk:
        return NamedKey::Multiply;
    case Qt::Key_Slash:
        return NamedKey::Divide;
    case Qt::Key_Enter:
        return NamedKey::Enter;
    default:
        return std::nullopt;
    }
}

std::optional<NamedKey> namedKey(int key) {
    if (key >= Qt::Key_F1 && key <= Qt::Key_F16)
        return NamedKey(int(NamedKey::F1) + (key - Qt::Key_F1));
    switch (key) {
    case Qt::Key_Backspace:
        return NamedKey::Backspace;
    case Qt::Key_Pause:
    case Qt::Key_Cancel:
        return NamedKey::Break;
    case Qt::Key_CapsLock:
        return NamedKey::CapsLock;
    case Qt::Key_Delete:
        return NamedKey::Delete;
    case Qt::Key_Down:
        return NamedKey::Down;
    case Qt::Key_End:
        return NamedKey::End;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return NamedKey::Enter;
    case Qt::Key_Escape:
        return NamedKey::Escape;
    case Qt::Key_Help:
        return NamedKey::Help;
    case Qt::Key_Home:
        return NamedKey::Home;
    case Qt::Key_Insert:
        return NamedKey::Insert;
    case Qt::Key_Left:
        return NamedKey::Left;
    case Qt::Key_NumLock:
        return NamedKey::NumLock;
    case Qt::Key_PageDown:
        return NamedKey::PageDown;
    case Qt::Key_PageUp:
        return NamedKey::PageUp;
    case Qt::Key_Print:
        return NamedKey::PrintScreen;
    case Qt::Key_Right:
        return NamedKey::Right;
    case Qt::Key_ScrollLock:
        return NamedKey::ScrollLock;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return NamedKey::Tab;
    case Qt::Key_Up:
        return NamedKey::Up;
    default:
        return std::nullopt;
    }
}

bool isModifierKey(int key) {
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
        return true;
    default:
        return false;
    }
}

unsigned modifiersOf(const QKeyEvent& event) {
    unsigned modifiers = platform::NoModifier;
    if (event.modifiers() & Qt::ShiftModifier)
        modifiers |= platform::ShiftModifier;
    if (event.modifiers() & Qt::ControlModifier)
        modifiers |= platform::ControlModifier;
    if (event.modifiers() & Qt::AltModifier)
        modifiers |= platform::AltModifier;
    return modifiers;
}

KeyAction named(NamedKey key, unsigned modifiers) {
    KeyAction action;
    action.named = true;
    action.key = key;
    action.modifiers = modifiers;
    return action;
}

KeyAction character(char32_t c, unsigned modifiers = platform::NoModifier) {
    KeyAction action;
    action.character = c;
    action.modifiers = modifiers;
    return action;
}

bool printable(const QString& text) {
    return !text.isEmpty() && text.front() >= u' ' && text.front() != QChar(0x7F);
}

// With Ctrl the text is a control character (or nothing): the key tells which one it was.
char32_t baseCharacter(const QKeyEvent& event) {
    const int key = event.key();
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        return char32_t(u'a' + (key - Qt::Key_A));
    if (printable(event.text()))
        return event.text().toUcs4().front();
    return QChar::toLower(char32_t(key));
}

} // namespace

platform::KeyActions actionsFor(const QKeyEvent& event) {
    // Qt has no key code for X11's Break keysym (Ctrl+Pause on a PC keyboard).
    constexpr quint32 kX11BreakKeysym = 0xFF6B;
    const int key = event.key() == 0 && event.nativeVirtualKey() == kX11BreakKeysym
                        ? int(Qt::Key_Cancel)
                        : event.key();
    const unsigned modifiers = modifiersOf(event);
    if (isModifierKey(key))
        return {};
    const bool keypad = event.modifiers() & Qt::KeypadModifier;
    if (const auto name = keypad ? keypadKey(key) : namedKey(key))
        return {named(*name, modifiers)};
    if (modifiers & (platform::ControlModifier | platform::AltModifier))
        return {character(baseCharacter(event), modifiers)};
    platform::KeyActions actions;
    if (printable(event.text()))
        for (const char32_t c : event.text().toUcs4())
            actions.push_back(character(c));
    return actions;
}

} // namespace keyreceiver
