// orvane-ttyreceiver OUTPUT, run inside xterm (xterm -e orvane-ttyreceiver OUTPUT): gives the
// keyboard focus to its xterm window, then makes OUTPUT and appends what the terminal sends for
// the keys as canonical send-key text: its characters, CR and Tab as {ENTER} and {TAB}, and F12
// ("ESC [24~") as {F12}. xterm looks keys up in Xlib's copy of the keyboard map.
#include "platform/send_keys.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <X11/Xlib.h>
#include <cstdio>
#include <cstdlib>
#include <termios.h>
#include <unistd.h>

namespace {

bool focusOwnWindow() {
    const char* id = std::getenv("WINDOWID");
    Display* display = XOpenDisplay(nullptr);
    if (!id || !display)
        return false;
    const auto window = Window(std::strtoul(id, nullptr, 10));
    Window focus = 0;
    for (int attempt = 0; attempt < 100 && focus != window; ++attempt) {
        XSetInputFocus(display, window, RevertToParent, CurrentTime);
        XSync(display, False);
        usleep(20000);
        int revert = 0;
        XGetInputFocus(display, &focus, &revert);
    }
    XCloseDisplay(display);
    return focus == window;
}

// The keys the terminal sent for; an incomplete character or escape sequence at the end is
// left in `pending` for the next read.
platform::KeyActions keysOf(QByteArray& pending) {
    static const QByteArray kF12 = "\x1b[24~";
    platform::KeyActions keys;
    qsizetype used = 0;
    while (used < pending.size()) {
        const QByteArray rest = pending.mid(used);
        if (rest.startsWith(kF12)) {
            keys.push_back(platform::KeyAction::Named(platform::NamedKey::F12));
            used += kF12.size();
            continue;
        }
        if (kF12.startsWith(rest))
            break; // the rest of the sequence is still on its way
        // One UTF-8 character: its length from its first byte.
        const auto lead = static_cast<unsigned char>(rest.front());
        const qsizetype length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        if (rest.size() < length)
            break;
        const char32_t character = QString::fromUtf8(rest.left(length)).toUcs4().front();
        keys.push_back(character == U'\r'   ? platform::KeyAction::Named(platform::NamedKey::Enter)
                       : character == U'\t' ? platform::KeyAction::Named(platform::NamedKey::Tab)
                                            : platform::KeyAction::Character(character));
        used += length;
    }
    pending.remove(0, used);
    return keys;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || !focusOwnWindow())
        return 2;
    termios settings{};
    tcgetattr(STDIN_FILENO, &settings);
    cfmakeraw(&settings);
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    std::FILE* output = std::fopen(argv[1], "wb"); // tells the test it is ready
    if (!output)
        return 2;
    QByteArray pending;
    char buffer[4096];
    for (ssize_t got; (got = read(STDIN_FILENO, buffer, sizeof buffer)) > 0;) {
        pending.append(buffer, got);
        const QByteArray text = platform::DescribeKeys(keysOf(pending)).toUtf8();
        std::fwrite(text.constData(), 1, std::size_t(text.size()), output);
        std::fflush(output);
    }
    std::fclose(output);
    return 0;
}
