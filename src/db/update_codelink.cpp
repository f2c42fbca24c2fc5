#include "db/update_codelink.h"

#include "db/app_title.h"
#include "db/codelink_grid.h"
#include "db/db_path.h"
#include "db/write_transaction.h"
#include "platform/app_error.h"
#include "platform/database.h"
#include "platform/dialogs.h"

namespace db {

namespace {

using platform::Database;
using platform::Table;

void showRefusal(const QString& text, platform::Icon icon = platform::Icon::None,
                 const QString& title = QString()) {
    platform::msgBox(text, platform::Buttons::Ok, icon, title);
}

// A pair is always handled by both of its values, a delete too.
bool bothBoxesFilled(PairEditor& editor) {
    const bool scanEmpty = editor.scanText().trimmed().isEmpty();
    if (!scanEmpty && !editor.returnText().trimmed().isEmpty())
        return true;
    showRefusal(QStringLiteral("Please make sure you have completed both ScanCode and "
                               "ReturnCode fields"),
                platform::Icon::Critical, appTitle());
    if (scanEmpty)
        editor.focusScan();
    else
        editor.focusReturn();
    return false;
}

Table openByKey(Database& database, const QString& name) {
    Table table = database.openTable(name);
    table.setIndex(QStringLiteral("PrimaryKey"));
    return table;
}

void addRecord(Table& table, const QString& scan, const QString& ret) {
    table.addNew();
    table.setValue(QStringLiteral("ScanValue"), scan);
    table.setValue(QStringLiteral("ReturnValue"), ret);
    table.update();
}

// The very first pair typed into an empty translation table is not recorded in tblManual: Add
// In never brings it back. Returns false when the scan value is already taken.
bool addToTables(Database& database, const QString& scan, const QString& ret) {
    Table codes = openByKey(database, QStringLiteral("tblCodelink"));
    if (codes.recordCount() == 0) {
        addRecord(codes, scan, ret);
        codes.seek(scan);
        if (codes.noMatch())
            addRecord(codes, scan, ret);
        return true;
    }
    codes.seek(scan);
    if (!codes.noMatch())
        return false;
    addRecord(codes, scan, ret);
    Table manual = openByKey(database, QStringLiteral("tblManual"));
    manual.seek(scan);
    if (manual.noMatch())
        addRecord(manual, scan, ret);
    return true;
}

int addPair(PairEditor& editor) {
    const QString scan = editor.scanText();
    const QString ret = editor.returnText();
    bool added = false;
    {
        Database database = Database::open(GetDbPath());
        WriteTransaction transaction(database);
        added = addToTables(database, scan, ret);
        if (added)
            transaction.commit();
    }
    if (!added) {
        showRefusal(QStringLiteral("A scan value of ") + scan +
                        QStringLiteral(" already exists.  Duplicate scan codes are not allowed."),
                    platform::Icon::Critical, appTitle());
        editor.focusScan();
        return -1;
    }
    editor.grid().appendRow(scan, ret);
    return 0;
}

void renamePair(Database& database, const QString& tableName, const QString& oldScan,
                const QString& scan, const QString& ret) {
    Table table = openByKey(database, tableName);
    if (table.recordCount() == 0)
        return;
    table.seek(oldScan);
    if (table.noMatch())
        return;
    table.edit();
    table.setValue(QStringLiteral("ScanValue"), scan);
    table.setValue(QStringLiteral("ReturnValue"), ret);
    table.update();
}

// A pair that is only in tblCodelink (an imported item) is changed there and is not copied into
// tblManual.
int changePair(PairEditor& editor) {
    const QString scan = editor.scanText();
    const QString ret = editor.returnText();
    CodelinkGrid& grid = editor.grid();
    const int row = grid.currentRow();
    if (row < 1)
        throw platform::AppError(platform::err::NoCurrentRecord,
                                 QStringLiteral("There is no entry in the table to change."));
    if (const int other = grid.findScan(scan, row); other > 0) {
        showRefusal(QStringLiteral("Scan code '") + scan +
                    QStringLiteral("' already represents the return value '") +
                    grid.text(other, 1) + QStringLiteral("'.  Please choose another scan value."));
        return -1;
    }
    const QString oldScan = grid.text(row, 0);
    {
        Database database = Database::open(GetDbPath());
        WriteTransaction transaction(database);
        renamePair(database, QStringLiteral("tblManual"), oldScan, scan, ret);
        renamePair(database, QStringLiteral("tblCodelink"), oldScan, scan, ret);
        transaction.commit();
    }
    grid.setText(row, 0, scan);
    grid.setText(row, 1, ret);
    return 0;
}

enum class DeleteOutcome { NotManual, Deleted, MissingInCodelink };

// The tblCodelink deletion is nested in the tblManual hit on purpose: an imported pair leaves
// the grid but stays in the translation table and keeps translating scans. Imported pairs are
// removed with Delete ALL.
DeleteOutcome deleteFromTables(Database& database, const QString& scan) {
    Table manual = openByKey(database, QStringLiteral("tblManual"));
    if (manual.recordCount() == 0)
        return DeleteOutcome::NotManual;
    manual.seek(scan);
    if (manual.noMatch())
        return DeleteOutcome::NotManual;
    manual.deleteCurrent();
    Table codes = openByKey(database, QStringLiteral("tblCodelink"));
    codes.seek(scan);
    if (codes.noMatch())
        return DeleteOutcome::MissingInCodelink;
    codes.deleteCurrent();
    return DeleteOutcome::Deleted;
}

int deletePair(PairEditor& editor) {
    const QString scan = editor.scanText();
    CodelinkGrid& grid = editor.grid();
    const int row = grid.findPair(scan, editor.returnText());
    if (row < 1) {
        showRefusal(QStringLiteral("Scan/Return code combination not found in the table."));
        editor.focusScan();
        return -1;
    }
    DeleteOutcome outcome = DeleteOutcome::NotManual;
    {
        Database database = Database::open(GetDbPath());
        WriteTransaction transaction(database);
        outcome = deleteFromTables(database, scan);
        transaction.commit();
    }
    grid.removeRow(row);
    if (outcome == DeleteOutcome::MissingInCodelink)
        showRefusal(
            QStringLiteral("The scan code was not found in the list and no items were deleted"));
    if (grid.dataRows() > 0) {
        editor.setScanText(grid.text(1, 0));
        editor.setReturnText(grid.text(1, 1));
    }
    return 1;
}

} // namespace

int UpdateCodelink(const QString& action, PairEditor& editor) {
    const bool known = action == u"add" || action == u"chg" || action == u"dlt";
    if (!known)
        return 0;
    if (!bothBoxesFilled(editor))
        return -1;
    if (action == u"add")
        return addPair(editor);
    if (action == u"chg")
        return changePair(editor);
    return deletePair(editor);
}

} // namespace db
