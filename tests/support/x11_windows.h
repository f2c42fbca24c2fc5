#pragma once

// Finding and focusing the top-level windows of an X display as a user would, for the
// whole-program tests (Linux only). Xlib stays out of this header: its macros (None, Bool,
// Status) clash with names in other headers.

#include <QString>

#include <vector>

struct _XDisplay;

namespace testsupport {

// The top-level windows of a display: found by caption and focused as a click focuses them
// (without a window manager they are children of the root window).
class TopLevelWindows {
public:
    explicit TopLevelWindows(const QString& display);
    ~TopLevelWindows();
    TopLevelWindows(const TopLevelWindows&) = delete;
    TopLevelWindows& operator=(const TopLevelWindows&) = delete;

    using Window = unsigned long;

    // The shown windows with this caption.
    std::vector<Window> all(const QString& caption) const;
    bool shown(const QString& caption) const { return !all(caption).empty(); }
    // The caption of the window that has the keyboard focus.
    QString focusedCaption() const;
    // Gives the keyboard focus to the window with this caption and lets the programs take the
    // change for settleMs (Qt tells a window that it lost the focus 100 ms late); false when
    // there is no such window or it does not take the focus.
    bool focus(const QString& caption, int settleMs = 300) const;
    // A click of the right mouse button at a point of the screen.
    void rightClick(int x, int y) const;

private:
    // The caption as _NET_WM_NAME holds it, in UTF-8 (WM_NAME holds characters beyond Latin-1,
    // such as a dash, in another encoding); empty for none.
    QString captionOf(Window window) const;

    _XDisplay* x_;
};

} // namespace testsupport
