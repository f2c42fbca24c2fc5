#include "config/setup_window.h"

#include "core/shared_state.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"

namespace config {

bool SaveBeforeClosing(bool saved, const std::function<void()>& save) {
    if (saved || platform::msgBox(QStringLiteral("Would you like to save your changes?"),
                                  platform::Buttons::YesNo, platform::Icon::Question,
                                  core::shared().strAppTitle) != platform::Answer::Yes)
        return true;
    try {
        save();
    } catch (const std::exception& error) {
        platform::reportError(error);
        return false;
    }
    return true;
}

} // namespace config
