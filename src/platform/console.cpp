#include "platform/console.h"

namespace platform {

Answer ConsoleDialogs::message(const MessageRequest& request) {
    writeText(stderr, request.text + u'\n');
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
