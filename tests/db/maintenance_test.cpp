// Backup, compaction and repair of the local database, with the questions answered by script, on
// sound, stale, damaged, locked and read-only files.
#include "core/shared_state.h"
#include "db/maintenance.h"
#include "db_test_support.h"
#ifndef Q_OS_WIN
#include "support/permissions.h"
#endif
#include "support/scripted_dialogs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using dbtest::fileHash;
using dbtest::pairs;
using platform::Answer;

namespace {

constexpr int kRows = 3000;
const QString kUnchanged = "Your database file was not changed.";
const QString kScanningQuestion =
    "Scanning must be stopped to continue.  Turn off scanning and continue?";

// Whether text starts with prefix and holds every one of parts; a failure quotes the text.
testing::AssertionResult reads(const QString& text, const QString& prefix,
                               const QStringList& parts = {}) {
    bool found = text.startsWith(prefix);
    for (const QString& part : parts)
        found = found && text.contains(part);
    return (found ? testing::AssertionSuccess() : testing::AssertionFailure())
           << text.toStdString();
}

class MaintenanceTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder.sql("dbscan.mdb",
                   dbtest::insertRows(kRows, "'S' || i, 'ITEM-' || i, 'Item ' || i, 1 + i % 12") +
                       "INSERT INTO tblManual VALUES ('S7', 'ITEM-7');");
        // As the main window sets it: the program folder followed by "\dbscan.mdb".
        core::shared().strDbPath = folder.path() + "\\dbscan.mdb";
        original = pairs(database(), "tblCodelink");
    }

    // Native paths, as messages name them.
    QString database() const { return QDir::toNativeSeparators(folder.file("dbscan.mdb")); }
    QString scratch() const { return QDir::toNativeSeparators(folder.file("dbscanback.mdb")); }
    QStringList texts() const { return dialogs.messageTexts(); }

    // Frees most pages, so that compaction has something to do.
    void deleteMostRows() {
        folder.sql("dbscan.mdb", "DELETE FROM tblCodelink WHERE rowid > 300;");
        original = pairs(database(), "tblCodelink");
    }

    void expectIntact() const {
        EXPECT_EQ(dbtest::integrity(database()), "ok");
        EXPECT_EQ(pairs(database(), "tblCodelink"), original);
        EXPECT_EQ(pairs(database(), "tblManual"), QStringList{"S7=ITEM-7"});
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    dbtest::RecordingScanSwitch scan{false};
    QStringList original;
};

} // namespace

TEST_F(MaintenanceTest, CompactionStopsScanningShrinksTheFileAndReplacesAStaleScratchFile) {
    deleteMostRows();
    const qint64 before = QFileInfo(database()).size();
    scan = dbtest::RecordingScanSwitch(true);
    dialogs.answer(Answer::No);
    db::CompactDatabase(scan);
    EXPECT_EQ(texts(), QStringList{kScanningQuestion}) << "No ends before anything is asked";
    EXPECT_TRUE(scan.toggles.empty());

    dialogs.clear();
    dialogs.answer({Answer::Yes, Answer::Yes});
    db::CompactDatabase(scan);
    EXPECT_EQ(texts(), (QStringList{kScanningQuestion,
                                    "Are you sure you want to compact your database file?",
                                    "Finished compacting database!"}));
    EXPECT_EQ(scan.toggles, (std::vector<bool>{false, true}));
    EXPECT_LT(QFileInfo(database()).size(), before / 2);
    EXPECT_FALSE(QFile::exists(scratch()));
    expectIntact();

    // A scratch file left over from an interrupted run is replaced.
    testsupport::writeFile(scratch(), "left over");
    dialogs.clear();
    db::CompactDatabase(scan); // unanswered questions: Yes
    EXPECT_EQ(texts().last(), "Finished compacting database!");
    EXPECT_FALSE(QFile::exists(scratch()));
    expectIntact();

    // A cancelled file dialog ends the backup quietly.
    dialogs.clear();
    dialogs.answerFile(std::nullopt);
    db::BackupDatabase(scan);
    EXPECT_EQ(texts(), QStringList{kScanningQuestion});
    EXPECT_EQ(scan.toggles, (std::vector<bool>{false, true, false, true, false, true}));
}

// Compaction stops at the first damaged page; repair rebuilds the file from every readable row.
TEST_F(MaintenanceTest, RepairLeavesASoundFileAloneRebuildsADamagedOneAndRefusesAnUnreadableOne) {
    const QByteArray before = fileHash(database());
    dialogs.answer({Answer::Yes, Answer::No});
    db::RepairDatabase(scan);
    EXPECT_EQ(texts(), (QStringList{"Are you sure you want to repair your database file?",
                                    "Would you like to compact your database file?"}));
    EXPECT_EQ(fileHash(database()), before);

    dialogs.clear();
    db::RepairDatabase(scan);
    EXPECT_EQ(texts().last(), "Finished repairing and compacting database!");
    EXPECT_EQ(pairs(scratch(), "tblCodelink"), original) << "the scratch copy is kept beside it";
    expectIntact();
    QFile::remove(scratch());

    dbtest::damagePagesHolding(database(), "ITEM-1500", 2);
    QByteArray damaged = fileHash(database());
    ASSERT_NE(dbtest::integrity(database()), "ok");
    scan = dbtest::RecordingScanSwitch(true);
    dialogs.clear();
    db::CompactDatabase(scan);
    ASSERT_EQ(dialogs.messages().size(), 3u) << texts().join('\n').toStdString();
    EXPECT_TRUE(reads(texts().last(),
                      "Compaction stopped while compacting the database into the scratch file.",
                      {"damaged", kUnchanged}));
    EXPECT_EQ(dialogs.messages().back().icon, platform::Icon::Critical);
    EXPECT_EQ(fileHash(database()), damaged);
    EXPECT_FALSE(QFile::exists(scratch()));
    EXPECT_EQ(scan.toggles, (std::vector<bool>{false, true})) << "scanning is started again";

    dialogs.clear();
    dialogs.answer({Answer::Yes, Answer::Yes, Answer::Ok, Answer::No});
    db::RepairDatabase(scan);
    ASSERT_EQ(dialogs.messages().size(), 4u) << texts().join('\n').toStdString();
    const QString kept = QDir::toNativeSeparators(folder.file("dbscan-damaged.mdb"));
    EXPECT_EQ(dialogs.messages()[2].icon, platform::Icon::Information);
    EXPECT_TRUE(reads(texts()[2], "", {"was damaged", kept}));
    EXPECT_EQ(fileHash(kept), damaged) << "the damaged file is kept as it was";
    EXPECT_EQ(dbtest::integrity(database()), "ok");
    const QStringList salvaged = pairs(database(), "tblCodelink");
    EXPECT_LT(salvaged.size(), kRows) << "the rows on the damaged pages are gone";
    EXPECT_GT(salvaged.size(), kRows - 300) << "but only those";
    for (const QString& pair : salvaged)
        ASSERT_TRUE(original.contains(pair)) << pair.toStdString();
    EXPECT_EQ(pairs(database(), "tblManual"), QStringList{"S7=ITEM-7"});
    EXPECT_EQ(platform::Database::open(database()).openRecordset("tblSettings").recordCount(), 1);

    QFile file(database());
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.seek(100); // past the file header: the page listing the tables
    file.write(QByteArray(4096 - 100, '\x5a'));
    file.close();
    damaged = fileHash(database());
    dialogs.clear();
    dialogs.answer({Answer::Yes, Answer::Yes});
    db::RepairDatabase(scan);
    ASSERT_EQ(dialogs.messages().size(), 3u) << texts().join('\n').toStdString();
    EXPECT_TRUE(reads(texts()[2],
                      "Repair stopped while recovering the readable rows into a new database "
                      "file.\r\nFile: " +
                          database(),
                      {kUnchanged}));
    EXPECT_EQ(fileHash(database()), damaged);
}

TEST_F(MaintenanceTest, BackupReplacesTheChosenFileCompactingFirstWhenAsked) {
    deleteMostRows();
    const QString target = folder.file("backup.mdb");
    ASSERT_TRUE(QFile::copy(folder.file("accsys.mdb"), target));
    dialogs.answerFile(target);
    dialogs.answer(Answer::No);
    db::BackupDatabase(scan);
    ASSERT_EQ(dialogs.fileRequests().size(), 1u);
    EXPECT_TRUE(dialogs.fileRequests()[0].confirmOverwrite);
    EXPECT_EQ(texts(),
              (QStringList{"Would you like to compact your database file?",
                           "Finished backing up database to " + QDir::toNativeSeparators(target)}));
    EXPECT_EQ(pairs(target, "tblCodelink"), original);
    EXPECT_EQ(pairs(target, "tblManual"), QStringList{"S7=ITEM-7"});
    EXPECT_FALSE(platform::Database::open(target).hasTable("tblAccounting")) << "replaced";
    EXPECT_FALSE(QFile::exists(scratch()));

    const qint64 before = QFileInfo(database()).size();
    dialogs.clear();
    dialogs.answerFile(target);
    dialogs.answer(Answer::Yes);
    db::BackupDatabase(scan);
    EXPECT_LT(QFileInfo(database()).size(), before) << "compacted first";
    EXPECT_EQ(pairs(target, "tblCodelink"), original);
    EXPECT_FALSE(QFile::exists(scratch()));
    expectIntact();
}

TEST_F(MaintenanceTest, ALockedDatabaseStopsTheCommandWithTheStepAndFileNamed) {
    const QByteArray before = fileHash(database());
    scan = dbtest::RecordingScanSwitch(true);
    {
        const dbtest::ShortBusyTimeout fast;
        const dbtest::LockingProcess lock(database());
        db::CompactDatabase(scan);
        dialogs.answer({Answer::Yes, Answer::Yes}); // the second command's scanning question
        db::RepairDatabase(scan);
    }
    EXPECT_EQ(scan.toggles, (std::vector<bool>{false, true, false, true}));
    const QStringList shown = texts();
    ASSERT_EQ(shown.size(), 6) << shown.join('\n').toStdString();
    const QStringList locked = {"locked by another program", database()};
    EXPECT_TRUE(
        reads(shown[2], "Compaction stopped while taking the database for compaction.", locked));
    EXPECT_TRUE(reads(shown[5], "Repair stopped while checking the database.", locked));
    EXPECT_EQ(fileHash(database()), before);
    EXPECT_FALSE(QFile::exists(scratch()));
    expectIntact();
}

#ifndef Q_OS_WIN // the Windows tests run under Wine as the Linux superuser, whom no mode binds
TEST_F(MaintenanceTest, AReadOnlyFolderStopsTheCommandWithTheFileNamed) {
    const QByteArray before = fileHash(database());
    scan = dbtest::RecordingScanSwitch(false);
    const auto readOnly = QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther;
    const auto writable = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    QFile::setPermissions(folder.path(), readOnly);
    QFile::setPermissions(database(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther |
                                          QFile::WriteOther);
    QTemporaryDir elsewhere;
    const QString target = QDir(elsewhere.path()).filePath("backup.mdb");
    ASSERT_TRUE(QFile::copy(folder.file("accsys.mdb"), target));
    QFile::setPermissions(target, QFile::ReadOwner | QFile::ReadOther);
    QFile::setPermissions(elsewhere.path(), readOnly);
    {
        const testsupport::PermissionsEnforced asUser;
        db::CompactDatabase(scan);
        dialogs.answerFile(target);
        dialogs.answer(Answer::No);
        db::BackupDatabase(scan);
    }
    QFile::setPermissions(folder.path(), writable);
    QFile::setPermissions(elsewhere.path(), writable);

    const QStringList shown = texts();
    ASSERT_EQ(shown.size(), 4) << shown.join('\n').toStdString();
    EXPECT_TRUE(reads(shown[1], "Compaction stopped while compacting the database into the "
                                "scratch file.\r\nFile: " +
                                    scratch()));
    EXPECT_TRUE(
        reads(shown[3],
              "Backup stopped while copying the database to the backup file.\r\nFile: " + target,
              {elsewhere.path()}))
        << "names the folder it could not write";
    EXPECT_EQ(fileHash(database()), before);
    EXPECT_FALSE(QFile::exists(scratch()));
    EXPECT_EQ(fileHash(target), fileHash(folder.file("accsys.mdb")));
    expectIntact();
}
#endif
