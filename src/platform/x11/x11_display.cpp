#include "platform/x11/x11_display.h"

#include "platform/app_error.h"

#include <QString>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <atomic>

namespace platform::x11 {

namespace {

// The number users know from the original program when typing into another window fails.
constexpr int kPermissionDenied = 70;

// Xlib's error handler is one per process; the typer's connection is the only one it answers
// for. One connection at a time is all the program opens.
std::atomic<Display*> ownDisplay{nullptr};
std::atomic<unsigned long> errors{0};
XErrorHandler previousHandler = nullptr;

int countError(Display* display, XErrorEvent* event) {
    if (display == ownDisplay.load()) {
        ++errors;
        return 0;
    }
    return previousHandler ? previousHandler(display, event) : 0;
}

[[noreturn]] void refuse(const QString& what) {
    throw AppError(kPermissionDenied, QStringLiteral("Permission denied: %1").arg(what));
}

} // namespace

DisplayConnection::DisplayConnection() {
    const QString name = qEnvironmentVariable("DISPLAY");
    int major = XkbMajorVersion;
    int minor = XkbMinorVersion;
    int reason = 0;
    display_.reset(XkbOpenDisplay(nullptr, nullptr, nullptr, &major, &minor, &reason));
    if (!display_ && reason == XkbOD_NonXkbServer)
        refuse(QStringLiteral("the X display \"%1\" has no XKEYBOARD extension").arg(name));
    if (!display_)
        refuse(QStringLiteral("cannot open the X display \"%1\" to type keys into").arg(name));
    int event = 0;
    int error = 0;
    if (!XTestQueryExtension(display_.get(), &event, &error, &major, &minor))
        refuse(QStringLiteral("the X display \"%1\" has no XTEST extension").arg(name));
    ownDisplay = display_.get();
    previousHandler = XSetErrorHandler(countError);
}

DisplayConnection::~DisplayConnection() {
    XSync(display_.get(), True);
    const XErrorHandler current = XSetErrorHandler(previousHandler);
    if (current != countError)
        XSetErrorHandler(current); // someone installed theirs after ours: leave it in place
    ownDisplay = nullptr;
}

void DisplayConnection::Closer::operator()(Display* display) const {
    XCloseDisplay(display);
}

unsigned long DisplayConnection::errorCount() {
    return errors.load();
}

} // namespace platform::x11
