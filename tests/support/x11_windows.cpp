#include "support/x11_windows.h"

#include "e2e/x11_session.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <stdexcept>

namespace testsupport {

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
    const std::vector<Window> windows = all(caption);
    if (windows.empty())
        return false;
    XRaiseWindow(x_, windows.front());
    XSetInputFocus(x_, windows.front(), RevertToParent, CurrentTime);
    XFlush(x_);
    if (!e2e::pumpUntil([&] { return focusedCaption() == caption; }, 5000))
        return false;
    e2e::pumpUntil([] { return false; }, settleMs);
    return true;
}

void TopLevelWindows::rightClick(int x, int y) const {
    XTestFakeMotionEvent(x_, -1, x, y, CurrentTime);
    XTestFakeButtonEvent(x_, 3, True, CurrentTime);
    XTestFakeButtonEvent(x_, 3, False, CurrentTime);
    XFlush(x_);
}

QString TopLevelWindows::captionOf(Window window) const {
    Atom type = 0;
    int format = 0;
    unsigned long length = 0;
    unsigned long after = 0;
    unsigned char* name = nullptr;
    XGetWindowProperty(x_, window, XInternAtom(x_, "_NET_WM_NAME", False), 0, 1024, False,
                       XInternAtom(x_, "UTF8_STRING", False), &type, &format, &length, &after,
                       &name);
    const QString caption =
        QString::fromUtf8(reinterpret_cast<const char*>(name), static_cast<qsizetype>(length));
    if (name)
        XFree(name);
    return caption;
}

std::vector<TopLevelWindows::Window> TopLevelWindows::all(const QString& caption) const {
    Window root = 0;
    Window parent = 0;
    Window* windows = nullptr;
    unsigned count = 0;
    std::vector<Window> found;
    if (XQueryTree(x_, DefaultRootWindow(x_), &root, &parent, &windows, &count))
        for (unsigned i = 0; i < count; ++i) {
            XWindowAttributes attributes{};
            if (XGetWindowAttributes(x_, windows[i], &attributes) &&
                attributes.map_state == IsViewable && captionOf(windows[i]) == caption)
                found.push_back(windows[i]);
        }
    if (windows)
        XFree(windows);
    return found;
}

} // namespace testsupport
