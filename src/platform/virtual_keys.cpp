#include "platform/virtual_keys.h"

#include <array>
#include <utility>

namespace platform {

namespace {

// Keys whose code does not follow from a range.
constexpr std::array<std::pair<int, int>, 20> kNamedKeys{{
    {Qt::Key_Backspace, 8}, {Qt::Key_Tab, 9},       {Qt::Key_Backtab, 9}, // Shift+Tab
    {Qt::Key_Return, 13},   {Qt::Key_Enter, 13},    {Qt::Key_Shift, 16},  {Qt::Key_Control, 17},
    {Qt::Key_Alt, 18},      {Qt::Key_Pause, 19},    {Qt::Key_Escape, 27}, {Qt::Key_Space, 32},
    {Qt::Key_PageUp, 33},   {Qt::Key_PageDown, 34}, {Qt::Key_End, 35},    {Qt::Key_Home, 36},
    {Qt::Key_Left, 37},     {Qt::Key_Up, 38},       {Qt::Key_Right, 39},  {Qt::Key_Down, 40},
    {Qt::Key_Insert, 45},
}};

// The numeric keypad's operators; its digits follow from a range.
constexpr std::array<std::pair<int, int>, 5> kKeypadKeys{{
    {Qt::Key_Asterisk, 106},
    {Qt::Key_Plus, 107},
    {Qt::Key_Minus, 109},
    {Qt::Key_Period, 110},
    {Qt::Key_Slash, 111},
}};

int lookUp(const auto& table, int qtKey) {
    for (const auto& [key, code] : table) {
        if (key == qtKey)
            return code;
    }
    return 0;
}

} // namespace

int WindowsVirtualKey(int qtKey, Qt::KeyboardModifiers modifiers) {
    if (modifiers.testFlag(Qt::KeypadModifier)) {
        if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)
            return 96 + (qtKey - Qt::Key_0);
        if (const int code = lookUp(kKeypadKeys, qtKey))
            return code;
    }
    if ((qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) || (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9))
        return qtKey; // Qt's codes for these are their upper-case characters, as Windows' are
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F24)
        return 112 + (qtKey - Qt::Key_F1);
    if (qtKey == Qt::Key_Delete)
        return 46;
    return lookUp(kNamedKeys, qtKey);
}

} // namespace platform
