// The command line through the real executable, on a copy of the program folder: import, export
// and import again, lookup, and every kind of bad input with its exit status and no change.
#include "core/frm_main.h"
#include "db/db_test_support.h"
#include "import/import_test_support.h"
#include "support/checks.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QFile>

#include <gtest/gtest.h>
#include <tuple>

namespace {

using importtest::Outcome;
using testsupport::contains;

class CommandLine : public ::testing::Test {
protected:
    void SetUp() override { importtest::installExecutable(dir.path()); }
    Outcome run(const QStringList& arguments) {
        return importtest::runProgram(dir.path(), arguments, runtime.path());
    }
    QString write(const QString& name, const QByteArray& bytes) {
        return testsupport::writeFile(dir.file(name), bytes);
    }
    // The command fails with status 1 and a message that contains this text (in any case).
    void expectRefused(const QStringList& arguments, const QString& message) {
        const Outcome refused = run(arguments);
        EXPECT_EQ(refused.status, 1) << arguments.join(' ').toStdString();
        EXPECT_TRUE(refused.err.contains(QDir::toNativeSeparators(message), Qt::CaseInsensitive))
            << refused.err.toStdString();
    }
    QString db() const { return dir.file("dbscan.mdb"); }

    // The maintenance commands wait for a running copy of the program, which a copy the
    // developer has running must not be.
    testsupport::PrivateRuntimeFolder runtime;
    testsupport::TempProgramFolder dir;
};

} // namespace

TEST_F(CommandLine, ImportExportAndLookUp) {
    const QString list =
        write("items.csv", "WIDGET-7,0012345,Widget\r\nNUT,N-1\r\nSAME,SAME\r\nx\r\n");
    const Outcome imported = run({"import", list});
    EXPECT_EQ(imported.status, 0) << imported.err.toStdString();
    const QString where = "; the error rows are in tblImportErrors of ";
    EXPECT_TRUE(contains(imported.out, ": lines read 4, rows written 2 (2 new, 0 replaced), rows "
                                       "removed 0, error rows 1, lines skipped 1" +
                                           where));
    EXPECT_TRUE(imported.out.endsWith("\n") &&
                testsupport::namesFile(imported.out.section(where, 1).chopped(1), db()))
        << imported.out.toStdString();

    EXPECT_EQ(run({"lookup", "0012345"}).out, "WIDGET-7\t1\n");
    const Outcome unknown = run({"lookup", "999"});
    EXPECT_EQ(std::tuple(unknown.status, unknown.out), std::tuple(2, QString("999\t1\n")))
        << "an unknown code is typed as scanned";
    EXPECT_TRUE(contains(unknown.err, "999 is not in the translation table"));

    // Values that need quoting, a line break (which becomes a blank) and units survive an export
    // and an import.
    testsupport::runSql(db(), "INSERT INTO tblCodelink VALUES ('TAB' || char(9) || 'X', "
                              "'Tab, comma', '\"quoted\" 3/4\"', 6), ('LB', 'line' || "
                              "char(13, 10) || 'break', ' ', 0.5), ('  pad ', 'Step ladder 6''', "
                              "'\"', 12)");
    const QString table = "SELECT ScanValue, ReturnValue, Descrip, Unit FROM tblCodelink ORDER BY "
                          "ScanValue";
    QStringList before = dir.rows(table);
    before.replaceInStrings("\r\n", " ");
    const Outcome exported = run({"export", dir.file("table.txt")});
    EXPECT_EQ(exported.status, 0) << exported.err.toStdString();
    testsupport::runSql(db(), "DELETE FROM tblCodelink");
    EXPECT_EQ(run({"import", dir.file("table.txt")}).status, 0);
    EXPECT_EQ(dir.rows(table), before);

    const QString iif = write("items.iif", "!HDR\r\nHDR\r\n!CUSTITEMDICT\r\nINVITEM\tBOLT\t1\t0"
                                           "\tINVENTORY\tSteel bolt\r\n");
    const Outcome byName = run({"import", iif, "--scan", "Item Name", "--return", "Description"});
    EXPECT_EQ(byName.status, 0) << byName.err.toStdString();
    EXPECT_EQ(run({"lookup", "bolt"}).out, "Steel bolt\t1\n");
    EXPECT_EQ(run({"--help"}).status, 0);
}

TEST_F(CommandLine, BadInputIsRefusedClearlyAndChangesNothing) {
    const QString list = write("items.csv", "R,S\r\n");
    const QString notIif = write("other.iif", "a\r\nb\r\nc\r\nINVITEM\tX\r\n");
    const QString iif = write("items.iif", "INVITEM\tBOLT\r\n");
    write("notes.xyz", "R,S\r\n");
    const QString company = write("Shop.qbw", "");
    const QByteArray before = dbtest::fileHash(db());
    const std::vector<std::pair<QStringList, QString>> cases = {
        {{"import", dir.file("missing.csv")}, "there is no file"},
        {{"import", dir.file("notes.xyz")}, "is not an item list"},
        {{"import", list, "--scan", "Item Name"}, "IIF files only"},
        {{"import", iif, "--scan", "No Such Field", "--return", "Item Name"},
         "\"No Such Field\" is not a scan field"},
        {{"import", iif}, "is not a scan field"}, // nothing stored to default to
        {{"import", notIif, "--scan", "Item Name", "--return", "Item Name"},
         "Not a product export file of type IIF"},
        {{"import", company, "--return", "Item Name"}, "takes --scan only"},
#ifdef Q_OS_WIN
        {{"import", company, "--scan", "UPC"}, "(QBXMLRP2) is not installed"},
#else
        {{"import", company, "--scan", "UPC"}, "can be read only on Windows"},
#endif
        {{"import"}, "give exactly one item file"},
        {{"frobnicate"}, "unknown command \"frobnicate\""},
    };
    for (const auto& [arguments, message] : cases)
        expectRefused(arguments, message);
    EXPECT_EQ(dbtest::fileHash(db()), before);

    dbtest::ShortBusyTimeout quick;
    const dbtest::LockingProcess lock(db());
    expectRefused({"import", list}, "locked by another program");
    QFile::remove(db());
    expectRefused({"lookup", "x"}, db());
}

TEST_F(CommandLine, MaintenanceCommandsRepairADamagedDatabaseSoThatTheProgramStarts) {
    testsupport::runSql(db(), dbtest::insertRows(3000, "'S' || i, 'R' || i, 'MARKER-' || i, 1"));
    EXPECT_EQ(run({"backup", dir.file("saved.mdb")}).status, 0);
    EXPECT_EQ(dbtest::pairs(dir.file("saved.mdb"), "tblCodelink").size(), 3000);
    EXPECT_EQ(run({"compact"}).status, 0);

    dbtest::damagePagesHolding(db(), "MARKER-1500", 2);
    const Outcome repaired = run({"repair"});
    EXPECT_EQ(repaired.status, 0) << repaired.err.toStdString();
    EXPECT_TRUE(contains(repaired.out, "has been rebuilt"));
    EXPECT_TRUE(QFile::exists(dir.file("dbscan-damaged.mdb")));
    EXPECT_EQ(dbtest::integrity(db()), "ok");
    EXPECT_EQ(run({"lookup", "S1"}).out, "R1\t1\n");
    testsupport::ScriptedDialogs dialogs;
    core::frmMain main;
    EXPECT_NO_THROW(main.Load()) << "the program starts on the repaired file";
}

TEST_F(CommandLine, TheWindowCopyWithoutADisplaySaysSoAndPointsAtTheCommands) {
#ifdef Q_OS_WIN
    GTEST_SKIP() << "a Windows session always has a display";
#endif
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_SESSION_TYPE"})
        env.remove(name);
    process.setProcessEnvironment(env);
    process.start(importtest::executableIn(dir.path()), {});
    ASSERT_TRUE(process.waitForFinished(20000));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << "no abort";
    EXPECT_EQ(process.exitCode(), 1);
    const QString error = QString::fromLocal8Bit(process.readAllStandardError());
    EXPECT_TRUE(contains(error, "there is no X display", "orvane-translator --help"));
}
