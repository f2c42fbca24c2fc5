#pragma once

namespace core {

// Whether the program was started with a command (import, export, lookup, backup, compact, repair,
// shared-init, --help; or a word that is no command, which is refused) rather than for its window.
bool IsCommandLine(int argc, char** argv);

// Runs the command headless, without a display, on the databases of the program's folder, with
// the very routines the windows use. Gives the exit status: 0 on success, 1 with a message on
// standard error.
int RunCommandLine(int argc, char** argv);

// The console companion of the Windows program (orvane-translator.com, which a console runs
// for "orvane-translator" and waits for) started without a command: starts the window program
// beside it on its own, so that the console is free again, and gives its exit status.
int StartWindowProgram(int argc, char** argv);

} // namespace core
