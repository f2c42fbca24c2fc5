// Item lists as stores and their programs write them, each imported through the import engine and
// through the program's import command into a fresh table: both must give the same rows, the
// same error rows and tell the same.
#include "import/import_engine.h"
#include "import/import_test_support.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using importtest::iifExport;
using importtest::iifItem;

struct Case {
    const char* name;
    const char* file; // its extension gives the kind
    QByteArray bytes;
    QStringList options;  // of the import command
    QStringList codelink; // ScanValue|ReturnValue|Descrip|Unit, by scan value
    QStringList errors;   // ErrorDescription|ScanCode|ReturnCode|Unit
    QString told;         // in the last line, or in the refusal
};

const QString kOldError = "old|s|r|1";

const std::vector<Case>& cases() {
    static const std::vector<Case> all{
        {"quoted fields with commas and doubled quotes, in Windows-1252",
         "pipes.csv",
         "\xBD in pipe,0123456789012,\"\xBD\"\" copper pipe, 10 ft\"\r\n"
         "\"Hose 3/4\"\"\",0765432109876,x\r\nR-4,041,desc,extra\r\n",
         {},
         {"0123456789012|\u00BD in pipe|\u00BD\" copper pipe, 10 ft|1", "041|R-4|desc|1",
          "0765432109876|Hose 3/4\"|x|1"},
         {},
         "lines read 3, rows written 3 (3 new, 0 replaced), rows removed 0, error rows 0, lines "
         "skipped 0"},
        {"inch and foot marks, and a quoted value with a line break",
         "marks.txt",
         "Step ladder 6'\t0011\tLadder, 6' aluminium\r\nHose 3/4\"\t0022\t\"Garden hose\r\n"
         "50 ft\"\r\n",
         {},
         {"0011|Step ladder 6'|Ladder, 6' aluminium|1", "0022|Hose 3/4\"|Garden hose 50 ft|1"},
         {},
         "lines read 2, rows written 2"},
        {"IIF marks and quotes, a custom field named by its label",
         "items.iif",
         iifExport(iifItem("Hose 3/4\"", "\"Garden hose, 3/4\"\" thread\"", "0765") +
                   iifItem("Step ladder 6'", "Aluminium", "0011") +
                   iifItem("\"Claw hammer, 16 oz\"", "'Best' hammer", "0022")),
         {"--scan", "UPC", "--return", "Item Name"},
         {"0011|Step ladder 6'|Aluminium|1", "0022|Claw hammer, 16 oz|'Best' hammer|1",
          "0765|Hose 3/4\"|Garden hose, 3/4\" thread|1"},
         {},
         "lines read 10, rows written 3 (3 new, 0 replaced), rows removed 0, error rows 0, lines "
         "skipped 7"},
        {"a list saved by a Mac spreadsheet: CR alone ends a line",
         "mac.csv",
         "Wrench,0012,\"Wrench, 10\"\"\"\rHammer,0034,Claw hammer\r",
         {},
         {"0012|Wrench|Wrench, 10\"|1", "0034|Hammer|Claw hammer|1"},
         {},
         "lines read 2, rows written 2"},
        {"a line of column names, one of them the unit",
         "named.csv",
         "Item,UPC,Description,Unit\r\nWIDGET,0012,Widget,6\r\n",
         {},
         {"0012|WIDGET|Widget|6"},
         {},
         "lines skipped 1 (the first line holds column names)"},
        {"column names the user declares",
         "declared.txt",
         "R\tS\tD\r\nWIDGET\t0012\tWidget\r\n",
         {"--header"},
         {"0012|WIDGET|Widget|1"},
         {},
         "rows written 1 (1 new, 0 replaced), rows removed 0, error rows 0, lines skipped 1"},
        {"a scan value given three times in different case",
         "twice.csv",
         "A,abc,first\r\nB,ABC,second\r\nC,Abc,third\r\n",
         {},
         {"Abc|C|third|1"},
         {"Duplicate scan value (line 3 kept)|abc|A|1",
          "Duplicate scan value (line 3 kept)|ABC|B|1"},
         "lines read 3, rows written 1 (1 new, 0 replaced), rows removed 0, error rows 2"},
        {"units of measure, one of them not a number, one line without a barcode",
         "cases.csv",
         "CASE-1,\"111111,6;222222,12;333333\",Widget\r\nBOX,\"444444,zero\",Box\r\n"
         "BAG,\" ; \",Bag\r\n",
         {"--units"},
         {"111111|CASE-1|Widget|6", "222222|CASE-1|Widget|12", "333333|CASE-1|Widget|1"},
         {"Unit of measure \"zero\" is not a positive number|444444|BOX|1",
          "No Scan Value| |BAG|1"},
         "lines read 3 with 5 barcodes, rows written 3 (3 new, 0 replaced), rows removed 0, error "
         "rows 2"},
        {"a zip archive renamed",
         "archive.csv",
         QByteArray("PK\x03\x04\x14\x00\x08\x00\x08\x00", 10) + "items.csv\x8b\x01",
         {},
         {},
         {kOldError},
         "is not a text file"},
        {"an empty file", "empty.txt", "", {}, {}, {kOldError}, "is empty"},
        {"blank lines only", "blank.csv", "\r\n  \r\n", {}, {}, {kOldError}, "holds no item lines"},
    };
    return all;
}

class RealWorldLines : public importtest::ImportTest {
protected:
    void SetUp() override {
        ImportTest::SetUp();
        importtest::installExecutable(folder.path());
    }
    void reset() {
        folder.sql("dbscan.mdb", "DELETE FROM tblCodelink; DELETE FROM tblImportErrors; INSERT "
                                 "INTO tblImportErrors VALUES ('s', 'r', 'old', 1)");
    }
    // The import engine as the item map window runs it, with the options of the command.
    QString engineImport(const QString& path, const QStringList& options) {
        const std::optional<import::UnitFormat> units =
            options.contains("--units") ? std::optional(import::UnitFormat()) : std::nullopt;
        try {
            if (path.endsWith(".iif"))
                return import::ImportSummary(import::ImportIifFile(
                    {path, "QuickBooks", options.value(options.indexOf("--scan") + 1),
                     options.value(options.indexOf("--return") + 1), "Description", units},
                    progress));
            return import::ImportSummary(
                import::ImportDelimitedFile(path, path.endsWith(".csv") ? u',' : u'\t', progress,
                                            {options.contains("--header"), units}));
        } catch (const import::ImportRefused& refusal) {
            return refusal.description();
        }
    }

    QTemporaryDir settings; // the command's own per-user settings: the default record format
};

} // namespace

TEST_F(RealWorldLines, KeepItemNamesAsWrittenThroughTheEngineAndTheCommand) {
    for (const Case& test : cases()) {
        SCOPED_TRACE(test.name);
        const QString path = write(test.file, test.bytes);
        const QStringList expected =
            test.codelink + QStringList("--") + test.errors + QStringList{test.told};
        // The tables after an import, with what it told.
        const auto outcome = [&](const QString& told) {
            return codelink() + QStringList("--") + errors() +
                   QStringList{told.contains(test.told) ? test.told : told};
        };

        reset();
        EXPECT_EQ(outcome(engineImport(path, test.options)), expected);

        reset();
        const importtest::Outcome command = importtest::runProgram(
            folder.path(), QStringList{"import", path} + test.options, settings.path());
        const bool refused = test.codelink.isEmpty();
        EXPECT_EQ(command.status, refused ? 1 : 0) << command.err.toStdString();
        EXPECT_EQ(outcome(refused ? command.err : command.out.split('\n').value(0)), expected);
    }
}
