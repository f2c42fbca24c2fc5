#pragma once

#include <memory>

// As Xlib declares it. Xlib.h itself stays out of this header: its macros (None, KeyPress ...)
// break Qt headers included after it.
typedef struct _XDisplay Display;

namespace platform::x11 {

// A connection to the X display named by $DISPLAY, closed with the object. Protocol errors on
// it are counted instead of ending the process (Xlib's default); errors on other connections
// go to whatever handler was there before.
class DisplayConnection {
public:
    // Throws AppError when there is no display or it lacks the extensions the typer needs
    // (XTEST, XKEYBOARD).
    DisplayConnection();
    ~DisplayConnection();
    DisplayConnection(const DisplayConnection&) = delete;
    DisplayConnection& operator=(const DisplayConnection&) = delete;

    Display* get() const { return display_.get(); }
    operator Display*() const { return display_.get(); }

    // Protocol errors seen on this connection so far.
    static unsigned long errorCount();

private:
    struct Closer {
        void operator()(Display* display) const;
    };
    std::unique_ptr<Display, Closer> display_;
};

} // namespace platform::x11
