#pragma once
// Helpers shared by the setup window tests.

#include "config/main_window_link.h"
#include "support/checks.h"
#include "support/program_folder_fixture.h"

namespace configtest {

// The main window as the setup windows see it, recording what they change.
struct FakeMain : config::MainWindowLink {
    QString append = QStringLiteral("<RetVal><RET>");
    QString accounting;
    int returns = 0;
    QString appendDisplay() const override { return append; }
    void setAppendDisplay(const QString& pattern) override { append = pattern; }
    void setAccountingDisplay(const QString& name) override { accounting = name; }
    void ReturnFromWindow() override { ++returns; }
};

// Fields of the first tblSettings row, joined by "|", read through a connection of their own.
inline QString stored(const QString& databaseFile, const QString& fields) {
    return testsupport::rows(databaseFile, QStringLiteral("SELECT %1 FROM tblSettings").arg(fields))
        .value(0);
}

} // namespace configtest
