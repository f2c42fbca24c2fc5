#pragma once

namespace core {

// Scanning as other windows see it: whether it is on, and switching it to a wanted state. The
// main window implements it (its scan button's caption is the state); windows that edit the
// database or the port stop scanning through it first.
class ScanSwitch {
public:
    virtual ~ScanSwitch() = default;
    virtual bool scanning() const = 0;
    // Switches scanning on or off when it is not already in that state.
    virtual void ScanTog(bool on) = 0;
};

// Asks "Scanning must be stopped to continue.  Turn off scanning and continue?" when scanning is
// on, and stops it on Yes. True when the caller may go on (scanning was off, or the user said
// Yes); false on No.
bool StopScanningToContinue(ScanSwitch& scan);

} // namespace core
