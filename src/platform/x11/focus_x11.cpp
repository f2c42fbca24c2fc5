#include "platform/focus.h"

#include <QGuiApplication>
#include <QSet>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <xcb/xcb.h>

namespace platform {

namespace {

template <typename Reply>
using ReplyPtr = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply>
ReplyPtr<Reply> own(Reply* reply) {
    return ReplyPtr<Reply>(reply, &std::free);
}

// Where the X server has the keyboard focus, asked on Qt's own connection. Qt itself hears of a
// lost focus only about 100 ms after the server moved it (it waits whether the focus comes
// straight back), and a scan in that time must go to the application the user just clicked.
// Nothing when the program does not run on X.
std::optional<bool> serverFocusIsOwn() {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    // (The offscreen platform answers for X11 too, without a connection.)
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return std::nullopt;
    const auto focus =
        own(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    if (!focus)
        return std::nullopt;
    QSet<xcb_window_t> windows;
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (window->handle()) // winId() would create a native window for one that has none
            windows.insert(xcb_window_t(window->winId()));
    }
    // The focus may sit on a child of one of the program's windows: walk up to the root.
    for (xcb_window_t window = focus->focus; window > XCB_INPUT_FOCUS_POINTER_ROOT;) {
        if (windows.contains(window))
            return true;
        const auto tree =
            own(xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
        if (!tree || tree->parent == tree->root)
            break;
        window = tree->parent;
    }
    return false;
}

} // namespace

bool ownWindowHasKeyboardFocus() {
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return false;
    if (const std::optional<bool> server = serverFocusIsOwn())
        return *server;
    return QGuiApplication::focusWindow() != nullptr;
}

// X11 lets any client raise and focus its window.
void allowOtherProcessToTakeForeground() {}

} // namespace platform
