// windows.h first: it sets up the definitions the other Windows headers need.
#include "platform/focus.h"

#include <QGuiApplication>

#include <windows.h>

namespace platform {

// The foreground window takes the keys; asked of the system rather than of Qt, which hears of a
// change only through the window messages still waiting in the queue.
bool ownWindowHasKeyboardFocus() {
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return false;
    HWND foreground = GetForegroundWindow();
    DWORD process = 0;
    if (foreground)
        GetWindowThreadProcessId(foreground, &process);
    return foreground && process == GetCurrentProcessId();
}

void allowOtherProcessToTakeForeground() {
    AllowSetForegroundWindow(ASFW_ANY);
}

} // namespace platform
