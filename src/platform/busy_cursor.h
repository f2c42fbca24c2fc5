#pragma once

#include <QApplication>
#include <QCursor>

namespace platform {

// The hourglass for the lifetime of the object: set on construction, restored on destruction,
// also when the work in between fails.
class BusyCursor {
public:
    BusyCursor() { QApplication::setOverrideCursor(QCursor(Qt::WaitCursor)); }
    ~BusyCursor() { QApplication::restoreOverrideCursor(); }
    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;
};

} // namespace platform
