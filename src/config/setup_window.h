#pragma once

#include <functional>
#include <initializer_list>

class QPushButton;
class QWidget;

namespace config {

// The Save, Cancel and Close buttons along the bottom of a setup window.
struct SetupButtons {
    QPushButton* save = nullptr;
    QPushButton* cancel = nullptr;
    QPushButton* close = nullptr;
};

// Lays a setup window out: its File menu (Cancel, Save, Close), the given frames one below the
// other, and the Save, Cancel and Close buttons at the bottom right. Each menu entry clicks the
// button with the same caption, so the window only has to handle the buttons.
SetupButtons LayOutSetupWindow(QWidget& window, std::initializer_list<QWidget*> frames);

// Closing a setup window whose changes are not saved asks "Would you like to save your
// changes?" with Yes, No and Cancel: Yes saves, No drops the changes, Cancel keeps the window open.
// False when the window is to stay open: the user cancelled, or the save failed (it has been
// reported) and the changes would otherwise be lost.
bool SaveBeforeClosing(bool saved, const std::function<void()>& save);

} // namespace config
