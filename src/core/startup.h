#pragma once

#include <QString>

#include <cstdint>
#include <exception>

class QWidget;

namespace platform {
class SingleInstance;
}

namespace core {

class Application;

// The program's start: one copy per user, the splash, the main window and the tray, the main
// window's caption with its trailing blank. Returns the process exit code.
int Main(Application& app);

// Before the window copy starts: when there is no display to show its windows on, says so on
// standard error, with what to do instead, and gives false.
bool CheckDisplay(int argc, char** argv);

// What the user is told when the program cannot start: which file, what is wrong with it in
// plain words, and a way out that works without the program's windows.
QString StartupFailureText(const std::exception& error);

// The key of the one-copy-per-user lock.
inline const QString kInstanceKey = QStringLiteral("Orvane Translator");

// The key of the lock that the window copy holds on its program folder for as long as it runs.
// The database commands that replace the database file (compact, repair) take the same lock, so
// that neither runs while the other does; copies on other program folders are not concerned.
QString ProgramFolderLockKey();

// Asks the running copy to show its main window; the caller then ends.
void FindPreviousInstance(platform::SingleInstance& instance);

// Shows the window normally (restored, visible), brings it to the front; false for no window.
bool ActivateWindow(QWidget* window);

// The splash pause: pumps events while the end time is earlier than now. As the end lies in the
// future, it returns at once; the splash is not held.
void Pause(std::int16_t seconds);

} // namespace core
