#include "core/scan_switch.h"

#include "core/shared_state.h"
#include "platform/dialogs.h"

namespace core {

bool StopScanningToContinue(ScanSwitch& scan) {
    if (!scan.scanning())
        return true;
    const platform::Answer answer = platform::msgBox(
        QStringLiteral("Scanning must be stopped to continue.  Turn off scanning and continue?"),
        platform::Buttons::YesNo, platform::Icon::None, shared().strAppTitle);
    if (answer != platform::Answer::Yes)
        return false;
    scan.ScanTog(false);
    return true;
}

} // namespace core
