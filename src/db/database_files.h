#pragma once

#include <QString>
#include <QStringList>

#include <memory>

namespace platform {
class Database;
}

namespace db {

// Whole-file operations on database files for backup, compaction and repair. Every file that
// replaces another is first written completely under a temporary name in the target's folder,
// synced, and then renamed over the target in one step, so a failure at any point leaves either
// the old file or the new one, never neither and never half of one. Failures are thrown as
// platform::AppError naming the file.

// A file in a folder that disappears again with the object unless it was renamed into place.
class TempFileBeside {
public:
    // Creates an empty file with a unique name in the folder of target.
    explicit TempFileBeside(const QString& target);
    ~TempFileBeside();
    TempFileBeside(const TempFileBeside&) = delete;
    TempFileBeside& operator=(const TempFileBeside&) = delete;

    const QString& path() const { return path_; }
    // Renames the file over target in one step; afterwards the object owns nothing.
    void renameOver(const QString& target);

private:
    QString path_;
};

// Writes a page-for-page copy of the open database source (a consistent snapshot, taken under a
// read lock) into a new file beside target, complete and synced, with the permissions of target
// (or of source when target does not exist yet). Renaming it over target is left to the caller.
std::unique_ptr<TempFileBeside> copyBeside(platform::Database& source, const QString& target);

// Makes target a page-for-page copy of source; an existing target is replaced in one step.
void copyDatabase(platform::Database& source, const QString& target);

// Makes target a byte-for-byte copy of the file source, for keeping a file exactly as it is
// (a damaged database). An existing target is replaced in one step.
void copyFileBytes(const QString& source, const QString& target);

// Whether a file that is open (by this program or another) can be replaced by renaming another
// file over it. Where it cannot, connections to it are closed before it is replaced.
#ifdef Q_OS_WIN
inline constexpr bool kCanReplaceOpenFile = false;
#else
inline constexpr bool kCanReplaceOpenFile = true;
#endif

// Writes a compacted copy of the open database into the new file target (which must not exist).
void compactInto(platform::Database& source, const QString& target);

// The engine's own check of the file: empty when it finds nothing wrong, else what it found.
// A file too damaged to be checked gives the engine's error as its finding; a file that is
// merely locked throws.
QStringList integrityProblems(platform::Database& database);

// What a salvage recovered.
struct SalvageResult {
    int tables = 0;
    qint64 rows = 0;
};

// Builds the database target (a new, empty file) with the schema of the damaged source and every
// row of every table that can still be read, table by table and row by row; rows on pages that
// cannot be read are skipped. Throws when not even the schema of source can be read.
SalvageResult salvageInto(platform::Database& source, const QString& target);

} // namespace db
