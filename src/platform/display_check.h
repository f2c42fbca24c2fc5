#pragma once

#include <QString>

#include <optional>

namespace platform {

// Why the window copy could not show its windows here (there is no display to connect to), or
// nothing when it can. argc and argv are the program's command line, where the windowing
// system's -platform and -display options count. Asked before the windowing system is started,
// which would end the process without a word that helps the user.
std::optional<QString> WindowDisplayProblem(int argc, char** argv);

} // namespace platform
