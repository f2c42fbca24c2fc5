#pragma once

#include <QString>

namespace config {

// The main window as the setup windows see it: the displays they refresh when they save, and
// the hand-back when they close.
class MainWindowLink {
public:
    virtual ~MainWindowLink() = default;
    // The return pattern shown in the main window, in stored token form.
    virtual QString appendDisplay() const = 0;
    // Shows a new return pattern; the main window takes it as the output template at once.
    virtual void setAppendDisplay(const QString& pattern) = 0;
    virtual void setAccountingDisplay(const QString& name) = 0;
    // One of the program's own windows has closed: the main window shows the settings as they
    // now are and takes over again.
    virtual void ReturnFromWindow() = 0;
};

} // namespace config
