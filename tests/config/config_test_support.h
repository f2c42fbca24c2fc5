#pragma once
// Helpers shared by the setup window tests.

#include "config/main_window_link.h"
#include "platform/database.h"
#include "support/checks.h"

#include <QVariant>

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

// A field of the first tblSettings row, read through a connection of its own.
inline QVariant storedSetting(const QString& databaseFile, const QString& field) {
    platform::Database db = platform::Database::open(databaseFile);
    return db.openRecordset(QStringLiteral("SELECT * FROM tblSettings")).value(field);
}

} // namespace configtest
