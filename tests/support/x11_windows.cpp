#include "support/x11_windows.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

#include <X11/Xlib.h>
#include <stdexcept>

namespace testsupport {

namespace {

// Runs Qt's event loop until done() or the time is up; returns done().
template <class Done>
bool pumpUntil(Done done, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::msleep(1);
    }
    return done();
}

} // namespace

TopLevelWindows::TopLevelWindows(const QString& display)
    : x_(XOpenDisplay(display.toLocal8Bit().constData())) {
    if (!x_)
        throw std::runtime_error("no X display " + display.toStdString());
    XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }); // windows come and go
}

TopLevelWindows::~TopLevelWindows() {
    XCloseDisplay(x_);
}

QString TopLevelWindows::focusedCaption() const {
    Window focus = 0;
    int revert = 0;
    XGetInputFocus(x_, &focus, &revert);
    return focus > PointerRoot ? captionOf(focus) : QString();
}

bool TopLevelWindows::focus(const QString& caption, int settleMs) const {
    const Window window = topLevel(caption);
    if (!window)
        return false;
    XRaiseWindow(x_, window);
    XSetInputFocus(x_, window, RevertToParent, CurrentTime);
    XFlush(x_);
    if (!pumpUntil([&] { return focusedCaption() == caption; }, 5000))
        return false;
    pumpUntil([] { return false; }, settleMs);
    return true;
}

QString TopLevelWindows::captionOf(Window window) const {
    char* name = nullptr;
    XFetchName(x_, window, &name);
    const QString caption = QString::fromUtf8(name); // empty for none
    XFree(name);
    return caption;
}

TopLevelWindows::Window TopLevelWindows::topLevel(const QString& caption) const {
    Window root = 0;
    Window parent = 0;
    Window* windows = nullptr;
    unsigned count = 0;
    Window found = 0;
    if (XQueryTree(x_, DefaultRootWindow(x_), &root, &parent, &windows, &count))
        for (unsigned i = 0; i < count && !found; ++i) {
            XWindowAttributes attributes{};
            if (XGetWindowAttributes(x_, windows[i], &attributes) &&
                attributes.map_state == IsViewable && captionOf(windows[i]) == caption)
                found = windows[i];
        }
    if (windows)
        XFree(windows);
    return found;
}

} // namespace testsupport
