#include "db/maintenance.h"

#include "core/program_folder.h"
#include "core/scan_switch.h"
#include "db/app_title.h"
#include "db/database_files.h"
#include "platform/app_error.h"
#include "platform/busy_cursor.h"
#include "platform/database.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <memory>
#include <optional>

namespace db {

namespace {

using platform::Answer;
using platform::Buttons;
using platform::Database;

const QString kUnchanged = QStringLiteral("Your database file was not changed.");

QString native(const QString& path) {
    return QDir::toNativeSeparators(path);
}

// The database file (D) and the scratch file (B) beside it.
struct Files {
    QString database;
    QString scratch;
};

Files localFiles() {
    const QString& stored = core::shared().strDbPath;
    return {platform::resolveDatabaseFile(
                stored.isEmpty() ? core::programFile(QStringLiteral("dbscan.mdb")) : stored),
            platform::resolveDatabaseFile(core::programFile(QStringLiteral("dbscanback.mdb")))};
}

// A step of a command that failed: what was being done, on which file, why, and the state the
// files were left in.
struct StepFailure {
    QString step;
    QString file;
    QString detail;
    QString outcome;
};

template <class Work>
void runStep(const QString& step, const QString& file, const QString& outcome, Work&& work) {
    try {
        work();
    } catch (const platform::AppError& error) {
        throw StepFailure{step, file, error.description(), outcome};
    } catch (const std::exception& error) {
        throw StepFailure{step, file, QString::fromUtf8(error.what()), outcome};
    }
}

void showFailure(const QString& command, const StepFailure& failure) {
    platform::msgBox(
        QStringLiteral("%1 stopped while %2.\r\nFile: %3\r\n\r\n%4\r\n\r\n%5")
            .arg(command, failure.step, native(failure.file), failure.detail, failure.outcome),
        Buttons::Ok, platform::Icon::Critical, appTitle());
}

// Scanning keeps the translation database open, so it is stopped for the command and started
// again afterwards, also when the command failed.
template <class Work>
void maintenanceFrame(core::ScanSwitch& scan, const QString& command, Work&& work) {
    const bool wasScanning = scan.scanning();
    if (!core::StopScanningToContinue(scan))
        return;
    try {
        work();
    } catch (const StepFailure& failure) {
        showFailure(command, failure);
    } catch (const std::exception& error) {
        platform::reportError(error);
    }
    if (wasScanning)
        scan.ScanTog(true);
}

bool askYesNo(const QString& question) {
    return platform::msgBox(question, Buttons::YesNo) == Answer::Yes;
}

void letEventsRun(int times) {
    for (int i = 0; i < times; ++i)
        QCoreApplication::processEvents();
}

void removeFile(const QString& path) {
    QFile file(path);
    if (file.exists() && !file.remove())
        throw platform::AppError(
            platform::err::ReadOnly,
            QStringLiteral("Could not delete '%1' (%2).").arg(native(path), file.errorString()));
}

// The database is written from a compacted copy in the scratch file. The old file stays in place
// until the new one is complete on disk; it is then replaced in one step. While this runs, no
// other program may write to the database.
void compactionSequence(const Files& files, bool removeScratchAfterwards) {
    if (QFileInfo::exists(files.scratch))
        runStep(QStringLiteral("deleting the old scratch file"), files.scratch, kUnchanged,
                [&] { removeFile(files.scratch); });
    {
        const platform::BusyCursor busy;
        std::optional<Database> source;
        std::optional<Database> writeLock;
        // Both connections are opened before the lock is taken: opening a file after that could
        // release the lock.
        runStep(QStringLiteral("taking the database for compaction"), files.database, kUnchanged,
                [&] {
                    source.emplace(Database::open(files.database));
                    writeLock.emplace(Database::open(files.database));
                    writeLock->execute(QStringLiteral("BEGIN IMMEDIATE"));
                });
        runStep(QStringLiteral("compacting the database into the scratch file"), files.scratch,
                kUnchanged, [&] {
                    try {
                        compactInto(*source, files.scratch);
                    } catch (...) {
                        QFile::remove(files.scratch);
                        throw;
                    }
                });
        std::unique_ptr<TempFileBeside> compacted;
        runStep(QStringLiteral("writing the compacted copy beside the database"), files.database,
                kUnchanged, [&] {
                    Database scratch = Database::open(files.scratch);
                    compacted = copyBeside(scratch, files.database);
                });
        if constexpr (!kCanReplaceOpenFile) {
            writeLock.reset();
            source.reset();
        }
        runStep(QStringLiteral("replacing the database with its compacted copy"), files.database,
                kUnchanged, [&] { compacted->renameOver(files.database); });
    }
    if (!removeScratchAfterwards)
        return;
    letEventsRun(3);
    if (QFileInfo::exists(files.scratch))
        runStep(QStringLiteral("deleting the scratch file"), files.scratch,
                QStringLiteral("The database file itself was compacted."),
                [&] { removeFile(files.scratch); });
}

QString damagedCopyPath(const QString& database) {
    const QFileInfo info(database);
    return info.dir().filePath(info.completeBaseName() + QStringLiteral("-damaged.mdb"));
}

struct Salvage {
    SalvageResult result;
    QString damagedCopy;
};

// Repairs the database in place: a file the engine finds sound is left alone; a damaged one is
// kept as a copy and replaced by a new file holding every row that could still be read.
std::optional<Salvage> repairInPlace(const Files& files) {
    const platform::BusyCursor busy;
    std::optional<Database> reader;
    std::optional<Database> writeLock;
    QStringList problems;
    runStep(QStringLiteral("checking the database"), files.database, kUnchanged, [&] {
        reader.emplace(Database::open(files.database));
        writeLock.emplace(Database::open(files.database));
        problems = integrityProblems(*reader);
    });
    if (problems.isEmpty())
        return std::nullopt;

    // The damaged file is kept exactly as it is, before anything else touches it (and before
    // the lock is taken: reading the file by other means than the engine would release it).
    Salvage salvage{{}, damagedCopyPath(files.database)};
    runStep(QStringLiteral("keeping a copy of the damaged database"), salvage.damagedCopy,
            kUnchanged, [&] { copyFileBytes(files.database, salvage.damagedCopy); });
    runStep(QStringLiteral("taking the database for the repair"), files.database, kUnchanged,
            [&] { writeLock->execute(QStringLiteral("BEGIN IMMEDIATE")); });
    std::unique_ptr<TempFileBeside> fresh;
    runStep(QStringLiteral("recovering the readable rows into a new database file"), files.database,
            kUnchanged +
                QStringLiteral(" A copy of it is in '%1'.").arg(native(salvage.damagedCopy)),
            [&] {
                fresh = std::make_unique<TempFileBeside>(files.database);
                salvage.result = salvageInto(*reader, fresh->path());
            });
    if constexpr (!kCanReplaceOpenFile) {
        writeLock.reset();
        reader.reset();
    }
    runStep(QStringLiteral("replacing the database with the repaired file"), files.database,
            kUnchanged, [&] { fresh->renameOver(files.database); });
    return salvage;
}

void showSalvageNotice(const Files& files, const Salvage& salvage) {
    platform::msgBox(
        QStringLiteral("The database '%1' was damaged. It was rebuilt from the rows that could "
                       "still be read: %2 rows in %3 tables. Rows on damaged parts of the file "
                       "could not be read.\r\nThe damaged file was kept as '%4'.")
            .arg(native(files.database))
            .arg(salvage.result.rows)
            .arg(salvage.result.tables)
            .arg(native(salvage.damagedCopy)),
        Buttons::Ok, platform::Icon::Information, appTitle());
}

// The command line's commands report a failed step as an error.
template <class Work>
auto withoutQuestions(const QString& command, Work&& work) {
    try {
        return work();
    } catch (const StepFailure& failure) {
        throw platform::AppError(
            platform::err::DatabaseError,
            QStringLiteral("%1 stopped while %2.\r\nFile: %3\r\n%4\r\n%5")
                .arg(command, failure.step, native(failure.file), failure.detail, failure.outcome));
    }
}

// A backup onto the database file itself would replace the database with a copy of itself,
// under a program that may be using it.
void refuseBackupOntoDatabase(const Files& files, const QString& target) {
    std::error_code error;
    if (!std::filesystem::equivalent(QFileInfo(target).filesystemFilePath(),
                                     QFileInfo(files.database).filesystemFilePath(), error))
        return;
    runStep(QStringLiteral("checking the backup file"), target, kUnchanged, [&] {
        throw platform::AppError(
            platform::err::ReadOnly,
            QStringLiteral("This is the program's database itself: a backup must go to another "
                           "file, best in another folder or on another disk."));
    });
}

void copyToBackup(const Files& files, const QString& target) {
    runStep(QStringLiteral("copying the database to the backup file"), target,
            kUnchanged + QStringLiteral(" The backup file was left as it was."), [&] {
                const platform::BusyCursor busy;
                Database source = Database::open(files.database);
                copyDatabase(source, target);
            });
}

} // namespace

void BackupDatabaseTo(const QString& target) {
    withoutQuestions(QStringLiteral("Backup"), [&] {
        const Files files = localFiles();
        const QString path = QFileInfo(target).absoluteFilePath();
        refuseBackupOntoDatabase(files, path);
        copyToBackup(files, path);
    });
}

void CompactLocalDatabase() {
    withoutQuestions(QStringLiteral("Compaction"), [] { compactionSequence(localFiles(), true); });
}

RepairReport RepairLocalDatabase() {
    return withoutQuestions(QStringLiteral("Repair"), [] {
        const Files files = localFiles();
        RepairReport report;
        if (const std::optional<Salvage> salvage = repairInPlace(files))
            report = {true, salvage->result.rows, salvage->result.tables, salvage->damagedCopy};
        compactionSequence(files, false);
        return report;
    });
}

void BackupDatabase(core::ScanSwitch& scan) {
    maintenanceFrame(scan, QStringLiteral("Backup"), [] {
        const Files files = localFiles();
        platform::FileRequest request;
        request.defaultSuffix = QStringLiteral("mdb");
        request.mustExist = true;
        request.confirmOverwrite = true;
        const std::optional<QString> chosen = platform::dialogs().saveFile(request);
        if (!chosen)
            return;
        const QString target = QFileInfo(*chosen).absoluteFilePath();
        refuseBackupOntoDatabase(files, target);
        if (askYesNo(QStringLiteral("Would you like to compact your database file?")))
            compactionSequence(files, true);
        letEventsRun(2);
        copyToBackup(files, target);
        platform::msgBox(QStringLiteral("Finished backing up database to ") + native(target),
                         Buttons::Ok, platform::Icon::None, appTitle());
    });
}

void CompactDatabase(core::ScanSwitch& scan) {
    maintenanceFrame(scan, QStringLiteral("Compaction"), [] {
        if (!askYesNo(QStringLiteral("Are you sure you want to compact your database file?")))
            return;
        compactionSequence(localFiles(), true);
        platform::msgBox(QStringLiteral("Finished compacting database!"));
    });
}

// The scratch copy stays beside the database after a repair; compaction and backup remove it.
void RepairDatabase(core::ScanSwitch& scan) {
    maintenanceFrame(scan, QStringLiteral("Repair"), [] {
        if (!askYesNo(QStringLiteral("Are you sure you want to repair your database file?")))
            return;
        const Files files = localFiles();
        if (const std::optional<Salvage> salvage = repairInPlace(files))
            showSalvageNotice(files, *salvage);
        if (!askYesNo(QStringLiteral("Would you like to compact your database file?")))
            return;
        compactionSequence(files, false);
        platform::msgBox(QStringLiteral("Finished repairing and compacting database!"));
    });
}

} // namespace db
