#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include <memory>

namespace platform {

// Gives a widget, action or menu the name the program's code and tests address it by.
template <class Object>
Object* named(Object* object, const char* name) {
    object->setObjectName(QString::fromLatin1(name));
    return object;
}

// Shows the one window kept in `slot`, made and loaded by make() first when there is none, and
// brings it to the front. The window deletes itself when closed, which empties the slot. A
// make() that throws leaves no window behind.
template <class Window, class Make>
Window* showSingleWindow(QPointer<Window>& slot, Make make) {
    if (!slot) {
        std::unique_ptr<Window> window = make();
        window->setAttribute(Qt::WA_DeleteOnClose);
        slot = window.release();
    }
    slot->show();
    slot->raise();
    slot->activateWindow();
    return slot;
}

} // namespace platform
