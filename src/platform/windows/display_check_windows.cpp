#include "platform/display_check.h"

namespace platform {

// A Windows desktop session always has a display to show windows on.
std::optional<QString> WindowDisplayProblem(int, char**) {
    return std::nullopt;
}

} // namespace platform
