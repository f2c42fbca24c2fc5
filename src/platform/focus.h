#pragma once

namespace platform {

// Whether a window of this program has the keyboard focus: keys typed now would land in it.
bool ownWindowHasKeyboardFocus();

// Lets another process bring its window to the front, as this one may: a second copy that
// hands over to the first passes on the right to take the foreground, which Windows gives only
// to the process the user last started or used.
void allowOtherProcessToTakeForeground();

} // namespace platform
