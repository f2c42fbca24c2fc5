// orvane-gtkreceiver OUTPUT: the GTK 3 counterpart of orvane-keyreceiver. A window that takes
// the keyboard focus, then makes OUTPUT and appends every key it gets to it as canonical
// send-key text ("{?0xKEYVAL}" for a key it cannot name). GTK looks keys up in its own copy of
// the keyboard map, which it fetches only when it handles the server's notice of a change.
#include "platform/send_keys.h"
#include "platform/x11/x11_keysyms.h"

#include <QString>

#include <cstdio>
#include <gtk/gtk.h>
#include <memory>
#include <optional>

namespace {

using platform::KeyAction;
using platform::NamedKey;

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

struct Receiver {
    const char* outputPath = nullptr;
    std::unique_ptr<std::FILE, FileClose> output;
    GtkWidget* window = nullptr;
    bool flushPending = false;
};

std::optional<NamedKey> namedKey(guint keyval) {
    if (keyval == GDK_KEY_ISO_Left_Tab) // Shift+Tab
        keyval = GDK_KEY_Tab;
    if (keyval == GDK_KEY_KP_Enter)
        keyval = GDK_KEY_Return;
    for (int key = 0; key <= int(NamedKey::Divide); ++key)
        if (platform::x11::keysymForNamedKey(NamedKey(key)) == keyval)
            return NamedKey(key);
    return std::nullopt;
}

// As the Qt receiver reads keys: printable text as its characters (Shift is in the text), named
// keys with their modifiers, keys held with Ctrl or Alt as the modifiers plus the character.
QString describe(const GdkEventKey& event) {
    if (event.is_modifier)
        return {};
    unsigned modifiers = platform::NoModifier;
    if (event.state & GDK_SHIFT_MASK)
        modifiers |= platform::ShiftModifier;
    if (event.state & GDK_CONTROL_MASK)
        modifiers |= platform::ControlModifier;
    if (event.state & GDK_MOD1_MASK)
        modifiers |= platform::AltModifier;
    if (const auto named = namedKey(event.keyval))
        return platform::DescribeKeys({KeyAction::Named(*named, modifiers)});
    const char32_t character = gdk_keyval_to_unicode(event.keyval);
    if (character < 0x20 || character == 0x7F)
        return QStringLiteral("{?0x%1}").arg(event.keyval, 0, 16);
    const bool held = modifiers & (platform::ControlModifier | platform::AltModifier);
    return platform::DescribeKeys({KeyAction::Character(
        held ? char32_t(gdk_keyval_to_unicode(gdk_keyval_to_lower(event.keyval))) : character,
        held ? modifiers : platform::NoModifier)});
}

// Written out once the keys that have come are handled, not one write per key: the window
// stays about as busy as an application that only takes keys.
gboolean flushOutput(gpointer data) {
    auto& receiver = *static_cast<Receiver*>(data);
    receiver.flushPending = false;
    if (receiver.output)
        std::fflush(receiver.output.get());
    return G_SOURCE_REMOVE;
}

gboolean onKeyPress(GtkWidget*, GdkEventKey* event, gpointer data) {
    auto& receiver = *static_cast<Receiver*>(data);
    if (receiver.output) {
        const QByteArray text = describe(*event).toUtf8();
        std::fwrite(text.constData(), 1, std::size_t(text.size()), receiver.output.get());
        if (!receiver.flushPending) {
            receiver.flushPending = true;
            g_idle_add_full(G_PRIORITY_LOW, flushOutput, &receiver, nullptr);
        }
    }
    return TRUE;
}

// Without a window manager nobody hands the focus over: ask until it is there.
gboolean takeFocus(gpointer data) {
    auto& receiver = *static_cast<Receiver*>(data);
    if (gtk_window_is_active(GTK_WINDOW(receiver.window))) {
        receiver.output.reset(std::fopen(receiver.outputPath, "wb")); // tells the test it is ready
        return G_SOURCE_REMOVE;
    }
    gtk_window_present(GTK_WINDOW(receiver.window));
    return G_SOURCE_CONTINUE;
}

} // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    if (argc < 2)
        return 2;
    Receiver receiver;
    receiver.outputPath = argv[1];
    receiver.window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(receiver.window), "Orvane GTK key receiver");
    gtk_window_move(GTK_WINDOW(receiver.window), 0, 0);
    gtk_window_set_default_size(GTK_WINDOW(receiver.window), 640, 480);
    g_signal_connect(receiver.window, "key-press-event", G_CALLBACK(onKeyPress), &receiver);
    g_signal_connect(receiver.window, "destroy", G_CALLBACK(gtk_main_quit), nullptr);
    gtk_widget_show_all(receiver.window);
    g_timeout_add(100, takeFocus, &receiver);
    gtk_main();
    return 0;
}
