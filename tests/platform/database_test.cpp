// The database layer on the shipped files: what it refuses to open, text compared without case,
// the record cursor's edge cases, and a file locked by another program.
#include "db/db_test_support.h"
#include "platform/app_error.h"
#include "platform/database.h"
#include "support/checks.h"
#include "support/program_folder_fixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
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
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
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
        EXPECT_TRUE(error.description.contains(why) &&
                    error.description.contains(QDir::toNativeSeparators(path)))
            << error.description.toStdString();
    }
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList({"notes.mdb", "old.mdb"}))
        << "opening must not create anything";
}

TEST_F(ProgramDatabase, NewRowsTakeDefaultsDeletedRowsAreGoneAndQueriesAreReadOnly) {
    platform::Recordset strings = db.openRecordset("tblAppendStr");
    strings.addNew();
    strings.setValue("Name", "Mine");
    strings.update();
    strings.moveFirst();
    EXPECT_EQ(strings.value("Name").toString(), "Enter");
    strings.deleteCurrent();
    EXPECT_EQ(errorOf([&] { strings.value("Name"); }).number, err::RecordDeleted);
    strings.moveNext();
    EXPECT_EQ(strings.value("Name").toString(), "Tab");

    Database again = Database::open(folder.file("dbscan.mdb")); // a connection of its own
    EXPECT_EQ(
        again.openRecordset("SELECT Use FROM tblAppendStr WHERE Name = 'Mine'").value(0).toInt(), 0)
        << "a new row keeps the table's default";
    platform::Recordset counted = again.openRecordset("SELECT count(*) AS n FROM tblAppendStr");
    EXPECT_EQ(counted.value("n").toInt(), 5) << "one row added, one deleted";
    EXPECT_EQ(errorOf([&] { counted.edit(); }).number, err::ReadOnly);

    // An updatable record set orders by the column the statement names by its place.
    platform::Recordset byPlace =
        again.openRecordset("SELECT Use, Name FROM tblAppendStr ORDER BY 2");
    EXPECT_EQ(byPlace.fieldCount(), 2);
    EXPECT_EQ(byPlace.value(1).toString(), "Mine");
    byPlace.edit();
    byPlace.setValue("Use", 7);
    byPlace.update();
    EXPECT_EQ(folder.rows("SELECT Use FROM tblAppendStr WHERE Name = 'Mine'"), QStringList{"7"});
}

// A table opens on its first row and walks in index order, also on from a sought row; seeks and
// keys compare text without regard to case.
TEST_F(ProgramDatabase, TablesWalkInIndexOrderAndSeekAndKeyWithoutCase) {
    Database keysDb = Database::open(folder.path() + "/CmdKeys");
    platform::Table keys = keysDb.openTable("Keys");
    keys.setIndex("PrimaryKey");
    int count = 0;
    for (; !keys.eof(); keys.moveNext(), ++count)
        EXPECT_EQ(keys.value("Index").toInt(), count);
    EXPECT_EQ(count, 27);
    keys.seek(14);
    keys.moveNext(); // a walk goes on from a sought row
    EXPECT_EQ(keys.value("Name").toString(), "F1");

    EXPECT_TRUE(db.openTable("tblManual").eof());
    EXPECT_EQ(errorOf([&] { db.openTable("tblNothing"); }).number, err::TableNotFound);

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

TEST(DatabaseFaults, LockedFileWaitsThenFailsClearlyAndKeepsData) {
    TempProgramFolder folder;
    Database db = Database::open(folder.file("dbscan.mdb"));
    {
        const dbtest::ShortBusyTimeout fast(300);
        const dbtest::LockingProcess lock(folder.file("dbscan.mdb"));
        QElapsedTimer waited;
        waited.start();
        const auto error = errorOf([&] { db.openRecordset("SELECT * FROM tblSettings"); });
        EXPECT_EQ(error.number, err::FileLocked);
        EXPECT_TRUE(testsupport::namesFile(error.description, folder.file("dbscan.mdb")));
        EXPECT_GE(waited.elapsed(), 250) << "a lock is waited for before failing";
    }
    EXPECT_EQ(db.openRecordset("SELECT * FROM tblSettings").recordCount(), 1);
}
