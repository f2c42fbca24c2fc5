// Backup, compaction and repair of the local database, with the questions answered by script, on
// sound, stale, damaged, locked and read-only files.
#include "core/shared_state.h"
#include "db/maintenance.h"
#include "db_test_support.h"
#include "support/permissions.h"
#include "support/program_folder_fixture.h"
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

class MaintenanceTest : public ::testing::Test {
protected:
    void SetUp() override {
        QString rows = "BEGIN;";
        for (int i = 0; i < kRows; ++i)
            rows += QString("INSERT INTO tblCodelink VALUES ('S%1', 'ITEM-%1', 'Item %1', %2);")
                        .arg(i)
                        .arg(1 + i % 12);
        folder.sql("dbscan.mdb", rows + "INSERT INTO tblManual VALUES ('S7', 'ITEM-7'); COMMIT;");
        // As the main window sets it: the program folder followed by "\dbscan.mdb".
        core::shared().strDbPath = folder.path() + "\\dbscan.mdb";
        original = pairs(database(), "tblCodelink");
    }

    QString database() const { return folder.file("dbscan.mdb"); }
    QString scratch() const { return folder.file("dbscanback.mdb"); }

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

const QString kScanningQuestion =
    "Scanning must be stopped to continue.  Turn off scanning and continue?";

} // namespace

TEST_F(MaintenanceTest, CompactionEndsWithTheDatabaseCompactedAndNoScratchFile) {
    deleteMostRows();
    const qint64 before = QFileInfo(database()).size();
    db::CompactDatabase(scan);
    EXPECT_EQ(texts(), (QStringList{"Are you sure you want to compact your database file?",
                                    "Finished compacting database!"}));
    EXPECT_LT(QFileInfo(database()).size(), before / 2);
    EXPECT_FALSE(QFile::exists(scratch()));
    expectIntact();

    // A scratch file left over from an interrupted run is replaced.
    QFile stale(scratch());
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.write("left over");
    stale.close();
    dialogs.clear();
    db::CompactDatabase(scan);
    EXPECT_EQ(texts().last(), "Finished compacting database!");
    EXPECT_FALSE(QFile::exists(scratch()));
    expectIntact();
}

TEST_F(MaintenanceTest, ScanningIsStoppedForTheCommandAndStartedAgain) {
    scan = dbtest::RecordingScanSwitch(true);
    dialogs.answer(Answer::No);
    db::CompactDatabase(scan);
    EXPECT_EQ(texts(), QStringList{kScanningQuestion}) << "No ends before anything is asked";
    EXPECT_TRUE(scan.toggles.empty());

    dialogs.answer(Answer::Yes);
    dialogs.answer(Answer::No);
    db::CompactDatabase(scan);
    EXPECT_EQ(scan.toggles, (std::vector<bool>{false, true}));
    EXPECT_TRUE(scan.scanning());

    // A cancelled file dialog ends the backup quietly.
    dialogs.clear();
    dialogs.answer(Answer::Yes);
    dialogs.answerFile(std::nullopt);
    db::BackupDatabase(scan);
    EXPECT_EQ(texts(), QStringList{kScanningQuestion});
    EXPECT_EQ(scan.toggles, (std::vector<bool>{false, true, false, true}));
}

TEST_F(MaintenanceTest, RepairLeavesTheScratchFileAndAnsweredNoShowsNoMessage) {
    const QByteArray before = fileHash(database());
    dialogs.answer(Answer::Yes);
    dialogs.answer(Answer::No);
    db::RepairDatabase(scan);
    EXPECT_EQ(texts(), (QStringList{"Are you sure you want to repair your database file?",
                                    "Would you like to compact your database file?"}));
    EXPECT_EQ(fileHash(database()), before) << "a sound file is left alone";

    dialogs.clear();
    db::RepairDatabase(scan);
    EXPECT_EQ(texts().last(), "Finished repairing and compacting database!");
    EXPECT_TRUE(QFile::exists(scratch())) << "repair keeps the scratch copy beside the database";
    EXPECT_EQ(pairs(scratch(), "tblCodelink"), original);
    expectIntact();
}

TEST_F(MaintenanceTest, RepairRebuildsADamagedDatabaseFromEveryReadableRow) {
    dbtest::damagePagesHolding(database(), "ITEM-1500", 2);
    const QByteArray damaged = fileHash(database());
    ASSERT_NE(dbtest::integrity(database()), "ok");

    dialogs.answer(Answer::Yes);
    dialogs.answer(Answer::Ok);
    dialogs.answer(Answer::No);
    db::RepairDatabase(scan);
    ASSERT_EQ(dialogs.messages().size(), 3u) << texts().join('\n').toStdString();
    const platform::MessageRequest& notice = dialogs.messages()[1];
    EXPECT_EQ(notice.icon, platform::Icon::Information);
    EXPECT_TRUE(notice.text.contains("was damaged")) << notice.text.toStdString();
    const QString kept = folder.file("dbscan-damaged.mdb");
    EXPECT_TRUE(notice.text.contains(kept)) << notice.text.toStdString();
    EXPECT_EQ(fileHash(kept), damaged) << "the damaged file is kept as it was";

    EXPECT_EQ(dbtest::integrity(database()), "ok");
    const QStringList salvaged = pairs(database(), "tblCodelink");
    EXPECT_LT(salvaged.size(), kRows) << "the rows on the damaged pages are gone";
    EXPECT_GT(salvaged.size(), kRows - 300) << "but only those";
    for (const QString& pair : salvaged)
        ASSERT_TRUE(original.contains(pair)) << pair.toStdString();
    EXPECT_EQ(pairs(database(), "tblManual"), QStringList{"S7=ITEM-7"});
    platform::Database repaired = platform::Database::open(database());
    EXPECT_EQ(repaired.openRecordset("SELECT * FROM tblSettings").recordCount(), 1);
    EXPECT_TRUE(repaired.hasField("tblCodelink", "Unit"));
}

TEST_F(MaintenanceTest, RepairNeverReportsSuccessOnAFileWhoseSchemaCannotBeRead) {
    QFile file(database());
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.seek(100); // past the file header: the page listing the tables
    file.write(QByteArray(4096 - 100, '\x5a'));
    file.close();
    const QByteArray damaged = fileHash(database());
    dialogs.answer(Answer::Yes);
    db::RepairDatabase(scan);
    ASSERT_EQ(dialogs.messages().size(), 2u) << texts().join('\n').toStdString();
    EXPECT_TRUE(texts()[1].startsWith("Repair stopped while recovering the readable rows into a "
                                      "new database file.\r\nFile: " +
                                      database()))
        << texts()[1].toStdString();
    EXPECT_TRUE(texts()[1].contains("Your database file was not changed."));
    EXPECT_EQ(fileHash(database()), damaged);
}

TEST_F(MaintenanceTest, CompactingADamagedDatabaseFailsClearlyAndKeepsTheFile) {
    dbtest::damagePagesHolding(database(), "ITEM-1500", 1);
    const QByteArray damaged = fileHash(database());
    scan = dbtest::RecordingScanSwitch(true);
    db::CompactDatabase(scan);
    ASSERT_EQ(dialogs.messages().size(), 3u);
    const QString failure = texts().last();
    EXPECT_TRUE(failure.startsWith("Compaction stopped while compacting the database into the "
                                   "scratch file."))
        << failure.toStdString();
    EXPECT_TRUE(failure.contains("damaged")) << failure.toStdString();
    EXPECT_TRUE(failure.contains("Your database file was not changed."));
    EXPECT_EQ(dialogs.messages().back().icon, platform::Icon::Critical);
    EXPECT_EQ(fileHash(database()), damaged);
    EXPECT_FALSE(QFile::exists(scratch()));
    EXPECT_EQ(scan.toggles, (std::vector<bool>{false, true})) << "scanning is started again";
}

TEST_F(MaintenanceTest, BackupReplacesTheChosenFile) {
    deleteMostRows();
    const QString target = folder.file("backup.mdb");
    ASSERT_TRUE(QFile::copy(folder.file("accsys.mdb"), target));
    dialogs.answerFile(target);
    dialogs.answer(Answer::No);
    db::BackupDatabase(scan);
    ASSERT_EQ(dialogs.fileRequests().size(), 1u);
    const platform::FileRequest& request = dialogs.fileRequests()[0];
    EXPECT_EQ(request.defaultSuffix, "mdb");
    EXPECT_TRUE(request.mustExist);
    EXPECT_TRUE(request.confirmOverwrite);
    EXPECT_TRUE(request.startFile.isEmpty());
    EXPECT_EQ(texts(), (QStringList{"Would you like to compact your database file?",
                                    "Finished backing up database to " + target}));
    EXPECT_EQ(dialogs.messages().back().title, "Orvane Translator");
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

TEST_F(MaintenanceTest, AReadOnlyFolderStopsTheCommandWithTheStepAndFileNamed) {
    const QByteArray before = fileHash(database());
    const auto readOnly = QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther;
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
    QFile::setPermissions(folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile::setPermissions(elsewhere.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    const QStringList shown = texts();
    ASSERT_EQ(shown.size(), 4) << shown.join('\n').toStdString();
    EXPECT_TRUE(shown[1].startsWith("Compaction stopped while compacting the database into the "
                                    "scratch file.\r\nFile: " +
                                    scratch()))
        << shown[1].toStdString();
    EXPECT_TRUE(shown[3].startsWith("Backup stopped while copying the database to the backup "
                                    "file.\r\nFile: " +
                                    target))
        << shown[3].toStdString();
    EXPECT_TRUE(shown[3].contains(elsewhere.path())) << "names the folder it could not write";
    EXPECT_EQ(fileHash(database()), before);
    EXPECT_FALSE(QFile::exists(scratch()));
    EXPECT_EQ(fileHash(target), fileHash(folder.file("accsys.mdb")));
    expectIntact();
}

TEST_F(MaintenanceTest, ADatabaseLockedByAnotherProgramIsReportedAndKeepsItsData) {
    const dbtest::ShortBusyTimeout fast;
    scan = dbtest::RecordingScanSwitch(true);
    {
        const dbtest::ShellLock lock(database());
        db::CompactDatabase(scan);
        dialogs.answer(Answer::Yes); // scanning question of the second command
        dialogs.answer(Answer::Yes);
        db::RepairDatabase(scan);
    }
    const QStringList shown = texts();
    ASSERT_EQ(shown.size(), 6) << shown.join('\n').toStdString();
    EXPECT_TRUE(shown[2].startsWith("Compaction stopped while taking the database for "
                                    "compaction."))
        << shown[2].toStdString();
    EXPECT_TRUE(shown[5].startsWith("Repair stopped while checking the database."))
        << shown[5].toStdString();
    for (const QString& failure : {shown[2], shown[5]}) {
        EXPECT_TRUE(failure.contains("locked by another program")) << failure.toStdString();
        EXPECT_TRUE(failure.contains(database())) << failure.toStdString();
    }
    EXPECT_EQ(scan.toggles, (std::vector<bool>{false, true, false, true}));
    EXPECT_FALSE(QFile::exists(scratch()));
    expectIntact();
}
