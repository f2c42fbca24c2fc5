#include "core/application.h"

#include "platform/error_report.h"

namespace core {

Application::Application(int& argc, char** argv)
    : QApplication(argc, argv) {
    setApplicationName(QStringLiteral("Orvane Translator"));
    setOrganizationName(QStringLiteral("Orvane Translator"));
    setApplicationVersion(
        QStringLiteral("%1.%2").arg(ORVANE_VERSION_MAJOR).arg(ORVANE_VERSION_MINOR));
    // The program lives on in the tray with no window shown; it ends only through Exit.
    setQuitOnLastWindowClosed(false);
}

bool Application::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception& error) {
        platform::reportError(error);
    } catch (...) {
        platform::reportUnknownError();
    }
    return false;
}

} // namespace core
