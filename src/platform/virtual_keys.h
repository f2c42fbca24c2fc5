#pragma once

#include <Qt>

namespace platform {

// The Windows virtual-key code of a key as Qt reports it, so that keys are matched by the same
// codes on every system (the command keys table stores them): letters 65-90, digits 48-57,
// F1-F24 112-135, Tab 9, Enter 13, Esc 27, Backspace 8, Space 32, Page Up/Down 33/34, End 35,
// Home 36, arrows 37-40, Insert 45, Delete 46, the numeric keypad's digits 96-105 and its
// * + - . / 106, 107, 109, 110, 111, Shift 16, Ctrl 17, Alt 18. 0 for any other key.
int WindowsVirtualKey(int qtKey, Qt::KeyboardModifiers modifiers);

} // namespace platform
