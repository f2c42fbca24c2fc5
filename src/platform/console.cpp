#include "platform/console.h"

#include <cstdio>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

namespace platform {

bool stderrIsTerminal() {
#ifdef Q_OS_WIN
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

Answer ConsoleDialogs::message(const MessageRequest& request) {
    std::fprintf(stderr, "%s\n", request.text.toLocal8Bit().constData());
    const bool second = request.defaultButton == DefaultButton::Second;
    switch (request.buttons) {
    case Buttons::Ok:
        return Answer::Ok;
    case Buttons::OkCancel:
        return second ? Answer::Cancel : Answer::Ok;
    case Buttons::YesNo:
    case Buttons::YesNoCancel:
        return second ? Answer::No : Answer::Yes;
    case Buttons::RetryCancel:
        return Answer::Cancel; // nobody can make the problem go away meanwhile
    case Buttons::AbortRetryIgnore:
        break;
    }
    return Answer::Abort;
}

} // namespace platform
