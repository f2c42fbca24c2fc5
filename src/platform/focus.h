#pragma once

namespace platform {

// Whether a window of this program has the keyboard focus: keys typed now would land in it.
bool ownWindowHasKeyboardFocus();

} // namespace platform
