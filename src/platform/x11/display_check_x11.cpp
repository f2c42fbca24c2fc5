#include "platform/display_check.h"

#include <QByteArray>

#include <X11/Xlib.h>
#include <cstring>

namespace platform {

namespace {

// The value of a windowing-system option ("-name value", also written "--name value").
QString optionValue(int argc, char** argv, const char* name) {
    for (int i = 1; i + 1 < argc; ++i) {
        const char* argument = argv[i];
        if (std::strncmp(argument, "--", 2) == 0)
            ++argument;
        if (argument[0] == '-' && std::strcmp(argument + 1, name) == 0)
            return QString::fromLocal8Bit(argv[i + 1]);
    }
    return {};
}

} // namespace

std::optional<QString> WindowDisplayProblem(int argc, char** argv) {
    QString platform = optionValue(argc, argv, "platform");
    if (platform.isEmpty())
        platform = qEnvironmentVariable("QT_QPA_PLATFORM");
    // Another windowing system (the tests' offscreen one) needs no X display.
    if (!platform.isEmpty() && !platform.contains(QStringLiteral("xcb")))
        return std::nullopt;

    QString name = optionValue(argc, argv, "display");
    if (name.isEmpty())
        name = qEnvironmentVariable("DISPLAY");
    if (name.isEmpty())
        return QStringLiteral("there is no X display (the DISPLAY variable is not set)");
    const QByteArray encoded = name.toLocal8Bit();
    Display* display = XOpenDisplay(encoded.constData());
    if (!display)
        return QStringLiteral("the X display \"%1\" cannot be opened").arg(name);
    XCloseDisplay(display);
    return std::nullopt;
}

} // namespace platform
