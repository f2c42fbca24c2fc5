#pragma once

#include <QString>

namespace core {
class ScanSwitch;
}

namespace db {

// The File menu's maintenance commands. All three work on the local database file (never on a
// shared one) with the scratch file dbscanback.mdb beside it. Scanning is stopped first (the
// user is asked) and started again afterwards, also when the command fails. A failure is shown
// in one message naming the step and the file; whatever happens, the database file is either the
// old one or the finished new one.

// Copies the database to a file the user picks (it must exist already and is replaced; the
// database file itself is refused), compacting the database first when the user wants.
void BackupDatabase(core::ScanSwitch& scan);

// Compacts the database; the scratch file is removed afterwards.
void CompactDatabase(core::ScanSwitch& scan);

// Checks the database and, when it is damaged, rebuilds it from every row that can still be
// read (the damaged file is kept beside it); then offers to compact it. The scratch file stays
// beside the database afterwards.
void RepairDatabase(core::ScanSwitch& scan);

// The same commands without questions, for the command line: the same steps and the same safety.
// A failure throws AppError naming the step and the file and saying what state the files are in.

// Copies the database to target (which may exist already; it is replaced in one step). The copy
// is a consistent snapshot taken with the engine's online backup, so it may run while the program
// uses the database. The database file itself is refused as target.
void BackupDatabaseTo(const QString& target);

// Compacts the database; the scratch file is removed afterwards.
void CompactLocalDatabase();

// What a repair did: whether the file was damaged and rebuilt, from how many rows and tables,
// and where the damaged file was kept.
struct RepairReport {
    bool rebuilt = false;
    qint64 rows = 0;
    int tables = 0;
    QString damagedCopy;
};

// Repairs the database (as RepairDatabase does), then compacts it.
RepairReport RepairLocalDatabase();

} // namespace db
