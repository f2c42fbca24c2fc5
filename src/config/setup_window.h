#pragma once

#include <functional>

namespace config {

// Closing a setup window whose changes are not saved asks "Would you like to save your
// changes?" and saves on Yes. False when that save failed (it has been reported): the window then
// stays open with the changes, so nothing is lost.
bool SaveBeforeClosing(bool saved, const std::function<void()>& save);

} // namespace config
