#pragma once

#include <QCursor>
#include <QGuiApplication>

namespace platform {

// The hourglass for the lifetime of the object: set on construction, restored on destruction,
// also when the work in between fails. The command line runs the same work without a display,
// where there is no cursor to change.
class BusyCursor {
public:
    BusyCursor()
        : shown_(qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr) {
        if (shown_)
            QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    }
    ~BusyCursor() {
        if (shown_)
            QGuiApplication::restoreOverrideCursor();
    }
    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;

private:
    bool shown_;
};

} // namespace platform
