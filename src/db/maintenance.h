#pragma once

namespace core {
class ScanSwitch;
}

namespace db {

// The File menu's maintenance commands. All three work on the local database file (never on a
// shared one) with the scratch file dbscanback.mdb beside it. Scanning is stopped first (the
// user is asked) and started again afterwards, also when the command fails. A failure is shown
// in one message naming the step and the file; whatever happens, the database file is either the
// old one or the finished new one.

// Copies the database to a file the user picks (it must exist already and is replaced),
// compacting the database first when the user wants.
void BackupDatabase(core::ScanSwitch& scan);

// Compacts the database; the scratch file is removed afterwards.
void CompactDatabase(core::ScanSwitch& scan);

// Checks the database and, when it is damaged, rebuilds it from every row that can still be
// read (the damaged file is kept beside it); then offers to compact it. The scratch file stays
// beside the database afterwards.
void RepairDatabase(core::ScanSwitch& scan);

} // namespace db
