#include "platform/focus.h"

#include <QGuiApplication>

namespace platform {

bool ownWindowHasKeyboardFocus() {
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr &&
           QGuiApplication::focusWindow() != nullptr;
}

} // namespace platform
