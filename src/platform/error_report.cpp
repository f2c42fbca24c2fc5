#include "platform/error_report.h"

#include "platform/app_error.h"
#include "platform/dialogs.h"

namespace platform {

QString errorBoxText(const std::exception& error) {
    if (const auto* appError = dynamic_cast<const AppError*>(&error))
        return QStringLiteral("Run-time error '%1':\n\n%2")
            .arg(appError->number())
            .arg(appError->description());
    return QString::fromUtf8(error.what());
}

void reportError(const std::exception& error) {
    // A failure inside the error box itself must not escape either.
    try {
        msgBox(errorBoxText(error), Buttons::Ok, Icon::Critical);
    } catch (...) {
    }
}

void reportUnknownError() {
    try {
        msgBox(QStringLiteral("An unexpected error occurred."), Buttons::Ok, Icon::Critical);
    } catch (...) {
    }
}

} // namespace platform
