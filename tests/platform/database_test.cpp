#include "platform/app_error.h"
#include "platform/database.h"
#include "support/errors.h"
#include "support/permissions.h"
#include "support/program_folder_fixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <tuple>

using platform::Database;
using testsupport::errorOf;
using testsupport::TempProgramFolder;
namespace err = platform::err;

// The shipped dbscan.mdb in a fresh program folder, open.
class ProgramDatabase : public ::testing::Test {
protected:
    TempProgramFolder folder;
    Database db = Database::open(folder.file("dbscan.mdb"));
};

TEST(DatabaseOpen, RefusesMissingJetAndForeignFilesByNameAndNeverCreatesAFile) {
    QTemporaryDir dir;
    const auto write = [&](const char* name, const QByteArray& bytes) {
        QFile file(dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    };
    const QByteArray jet =
        QByteArray("\x00\x01\x00\x00Standard Jet DB\x00", 20) + QByteArray(2000, '\0');
    const std::tuple<QString, int, const char*> cases[] = {
        {dir.filePath("nothing.mdb"), err::FileNotFound, "Could not find file"},
        {write("old.mdb", jet), err::UnrecognizedFormat, "Jet/Access"},
        {write("notes.mdb", "these are not the rows you are looking for\n"),
         err::UnrecognizedFormat, "Unrecognized database format"}};
    for (const auto& [path, number, why] : cases) {
        const auto error = errorOf([&] { Database::open(path); });
        EXPECT_EQ(error.number, number) << path.toStdString();
        EXPECT_TRUE(error.description.contains(why)) << error.description.toStdString();
        EXPECT_TRUE(error.description.contains(path)) << error.description.toStdString();
    }
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList({"notes.mdb", "old.mdb"}))
        << "opening must not create anything";
}

TEST(DatabaseOpen, SuppliesExtensionAndMatchesNamesWithoutCase) {
    TempProgramFolder folder;
    for (const QString name : {"dbScan", "DBSCAN.MDB", "dbScan.mdb", "\\dbScan"}) {
        const QString path = name.startsWith('\\') ? folder.path() + name : folder.file(name);
        Database db = Database::open(path);
        EXPECT_EQ(QFileInfo(db.path()).fileName(), "dbscan.mdb") << name.toStdString();
        EXPECT_TRUE(db.hasTable("tblSettings"));
    }
}

TEST_F(ProgramDatabase, ComparesTextWithoutCaseInSeeksQueriesAndKeys) {
    {
        platform::Table codes = db.openTable("tblCodelink");
        codes.setIndex("PrimaryKey");
        codes.addNew();
        codes.setValue("ScanValue", "ABC-1");
        codes.setValue("ReturnValue", "Widget");
        codes.update();
        codes.seek("abc-1");
        ASSERT_FALSE(codes.noMatch());
        EXPECT_EQ(codes.value("returnvalue").toString(), "Widget");
        codes.seek("ABC-2");
        EXPECT_TRUE(codes.noMatch());

        codes.addNew();
        codes.setValue("ScanValue", "abc-1");
        EXPECT_EQ(errorOf([&] { codes.update(); }).number, err::DuplicateKey);
    }
    const platform::Recordset rs = db.openRecordset(
        "SELECT tblCodelink.* From tblCodelink WHERE (((tblCodelink.ScanValue)='Abc-1'));");
    EXPECT_EQ(rs.recordCount(), 1);
}

TEST_F(ProgramDatabase, RecordsetEditAddAndDeleteReachTheFile) {
    platform::Recordset settings = db.openRecordset("SELECT * FROM tblSettings");
    ASSERT_EQ(settings.recordCount(), 1);
    settings.edit();
    settings.setValue("ComPort", "/dev/ttyUSB0");
    settings.setValue("autostart", true);
    settings.update();

    platform::Recordset strings = db.openRecordset("tblAppendStr");
    strings.addNew();
    strings.setValue("Name", "Mine");
    strings.setValue("String", "<RetVal><F2>");
    strings.update();
    strings.moveFirst();
    EXPECT_EQ(strings.value("Name").toString(), "Enter");
    strings.deleteCurrent();
    EXPECT_EQ(errorOf([&] { strings.value("Name"); }).number, err::RecordDeleted);
    strings.moveNext();
    EXPECT_EQ(strings.value("Name").toString(), "Tab");

    // Read back through a connection of its own.
    Database again = Database::open(folder.file("dbscan.mdb"));
    platform::Recordset stored = again.openRecordset("SELECT * FROM tblSettings");
    EXPECT_EQ(stored.value("comport").toString(), "/dev/ttyUSB0");
    EXPECT_EQ(stored.value("autostart").toInt(), 1);
    platform::Recordset mine = again.openRecordset(
        "SELECT tblAppendStr.* From tblAppendStr WHERE (((tblAppendStr.Name)='Mine'));");
    ASSERT_EQ(mine.recordCount(), 1);
    EXPECT_EQ(mine.value("Use").toInt(), 0) << "a new row keeps the table's default";
    EXPECT_EQ(
        again.openRecordset("SELECT Name FROM tblAppendStr WHERE Name = 'Enter'").recordCount(), 0);
    platform::Recordset counted = again.openRecordset("SELECT count(*) AS n FROM tblAppendStr");
    EXPECT_EQ(counted.value("n").toInt(), 5);
    EXPECT_EQ(errorOf([&] { counted.edit(); }).number, err::ReadOnly);
}

TEST_F(ProgramDatabase, TableOpensOnFirstRowAndWalksInIndexOrder) {
    Database keysDb = Database::open(folder.path() + "/CmdKeys");
    platform::Table keys = keysDb.openTable("Keys");
    keys.setIndex("PrimaryKey");
    ASSERT_FALSE(keys.eof());
    EXPECT_EQ(keys.value("Name").toString(), "Tab");
    int count = 0;
    for (; !keys.eof(); keys.moveNext(), ++count)
        EXPECT_EQ(keys.value("Index").toInt(), count);
    EXPECT_EQ(count, 27);
    EXPECT_EQ(keys.recordCount(), 27);
    keys.seek(14);
    keys.moveNext(); // a walk goes on from a sought row
    EXPECT_EQ(keys.value("Name").toString(), "F1");

    EXPECT_TRUE(db.openTable("tblManual").eof());
    EXPECT_EQ(errorOf([&] { db.openTable("tblNothing"); }).number, err::TableNotFound);
}

TEST_F(ProgramDatabase, AddFieldMakesTheRequestedTypes) {
    db.addField("tblPreview", "Ratio", platform::fieldtype::Double, 1);
    db.addField("tblPreview", "Code", platform::fieldtype::Text, 20);
    EXPECT_TRUE(db.hasField("tblPreview", "ratio"));
    EXPECT_EQ(errorOf([&] { db.addField("tblPreview", "X", 99, 0); }).number,
              err::InvalidFieldType);

    platform::Recordset types = db.openRecordset(
        "SELECT name, type FROM pragma_table_info('tblPreview') WHERE name IN ('Ratio', 'Code')");
    QStringList declared;
    for (types.moveFirst(); !types.eof(); types.moveNext())
        declared << types.value("name").toString() + ":" + types.value("type").toString();
    EXPECT_EQ(declared, QStringList({"Ratio:DOUBLE", "Code:TEXT(20)"}));
}

TEST(DatabaseFaults, LockedFileWaitsThenFailsClearlyAndKeepsData) {
    TempProgramFolder folder;
    const int previous = Database::busyTimeoutMs();
    Database::setBusyTimeoutMs(300);
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open(folder.file("dbscan.mdb").toUtf8().constData(), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);

    QElapsedTimer waited;
    waited.start();
    Database db = Database::open(folder.file("dbscan.mdb"));
    const auto error = errorOf([&] { db.openRecordset("SELECT * FROM tblSettings"); });
    EXPECT_EQ(error.number, err::FileLocked);
    EXPECT_TRUE(error.description.contains(folder.file("dbscan.mdb")));
    EXPECT_GE(waited.elapsed(), 250) << "a lock is waited for before failing";

    sqlite3_exec(holder, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(holder);
    EXPECT_EQ(db.openRecordset("SELECT * FROM tblSettings").recordCount(), 1);
    Database::setBusyTimeoutMs(previous);
}

TEST(DatabaseFaults, ReadOnlyFolderRefusesWritesAndKeepsData) {
    TempProgramFolder folder;
    QFile::setPermissions(folder.file("dbscan.mdb"),
                          QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup |
                                             QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
    {
        testsupport::PermissionsEnforced unprivileged;
        Database db = Database::open(folder.file("dbscan.mdb"));
        const auto error = errorOf([&] { db.execute("DELETE * FROM tblAppendStr"); });
        EXPECT_EQ(error.number, err::ReadOnly) << error.description.toStdString();
        EXPECT_TRUE(error.description.contains(folder.file("dbscan.mdb")));
        EXPECT_EQ(db.openRecordset("tblAppendStr").recordCount(), 5);
    }
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}
